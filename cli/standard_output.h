#pragma once

#include <memory>
#include <optional>
#include <streambuf>
#include <string>

namespace samplenet_cli {

// std::cout while a command runs: its bytes go to descriptor 1 through a
// buffer that keeps the reason of the first write that failed (stdio drops
// the bytes and forgets the reason), so that a command whose output never
// arrived can say so at the end.
class CheckedStandardOutput {
public:
    // Installs itself as std::cout's buffer.
    CheckedStandardOutput();
    // Flushes and gives std::cout its own buffer back.
    ~CheckedStandardOutput();
    CheckedStandardOutput(const CheckedStandardOutput&) = delete;
    CheckedStandardOutput& operator=(const CheckedStandardOutput&) = delete;

    // Flushes std::cout and stdout and says why a write to standard output
    // failed (a full disk, a file size limit, a closed pipe), then or at any
    // time before; nothing when every byte went out.
    std::optional<std::string> failure();

private:
    class Buffer;
    std::unique_ptr<Buffer> buffer_;
    std::streambuf* previous_;
};

}  // namespace samplenet_cli
