#include "cli/standard_output.h"

#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iostream>

namespace samplenet_cli {

class CheckedStandardOutput::Buffer : public std::streambuf {
public:
    Buffer() { setp(bytes_, bytes_ + sizeof bytes_); }

    // Writes what is buffered; false once any write has failed.
    bool drain() {
        for (const char* next = pbase(); next < pptr() && error_ == 0;) {
            const ssize_t written = ::write(STDOUT_FILENO, next, static_cast<std::size_t>(pptr() - next));
            if (written >= 0)
                next += written;
            else if (errno != EINTR)
                error_ = errno;
        }
        setp(bytes_, bytes_ + sizeof bytes_);
        return error_ == 0;
    }

    int error() const { return error_; }

protected:
    int_type overflow(int_type c) override {
        if (!drain()) return traits_type::eof();
        if (!traits_type::eq_int_type(c, traits_type::eof())) sputc(traits_type::to_char_type(c));
        return traits_type::not_eof(c);
    }
    int sync() override { return drain() ? 0 : -1; }

private:
    char bytes_[1 << 16];
    int error_ = 0;
};

CheckedStandardOutput::CheckedStandardOutput()
    : buffer_(std::make_unique<Buffer>()), previous_(std::cout.rdbuf(buffer_.get())) {}

CheckedStandardOutput::~CheckedStandardOutput() {
    std::cout.flush();
    std::cout.rdbuf(previous_);
}

std::optional<std::string> CheckedStandardOutput::failure() {
    std::cout.flush();
    if (buffer_->error()) return std::strerror(buffer_->error());
    // What went through stdio instead (batch rows are checked as they are
    // written; this catches the rest, without its reason when stdio dropped it).
    errno = 0;
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) return std::strerror(errno ? errno : EIO);
    // Some file systems report a failed write only when the file is closed.
    // A duplicate is closed rather than descriptor 1, which stdio still
    // holds. No descriptor 1 at all is fine when nothing was written to it.
    const int duplicate = dup(STDOUT_FILENO);
    if (duplicate >= 0 && close(duplicate) != 0) return std::strerror(errno);
    return std::nullopt;
}

}  // namespace samplenet_cli
