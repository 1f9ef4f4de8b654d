#include "cli/process_pool.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <deque>
#include <map>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

namespace samplenet_cli {

namespace {

// Tasks a worker holds at once: one running, the rest waiting, so that it
// never idles for a round trip.
constexpr std::size_t kTasksPerWorker = 4;
constexpr std::size_t kReadBytes = 1 << 16;

// Messages go as their length, then their bytes.
using Length = std::uint64_t;

void appendMessage(std::string& out, std::string_view message) {
    const Length length = message.size();
    out.append(reinterpret_cast<const char*>(&length), sizeof length);
    out.append(message);
}

// Takes the first whole message off the front of `in`, if there is one.
std::optional<std::string> takeMessage(std::string& in, std::size_t& consumed) {
    Length length = 0;
    if (in.size() - consumed < sizeof length) return std::nullopt;
    std::memcpy(&length, in.data() + consumed, sizeof length);
    if (in.size() - consumed - sizeof length < length) return std::nullopt;
    std::string message = in.substr(consumed + sizeof length, length);
    consumed += sizeof length + length;
    return message;
}

// read() or write() until all `size` bytes went through; false at the end
// of the input or on an error.
template <typename Transfer, typename Bytes>
bool transferFully(Transfer transfer, int fd, Bytes* data, std::size_t size) {
    while (size > 0) {
        const ssize_t count = transfer(fd, data, size);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

// Runs in the child until the parent closes its task pipe: never returns,
// and never flushes the parent's buffers.
[[noreturn]] void childRun(int tasks, int results, const PoolWork& work) {
    std::string task, reply;
    for (;;) {
        Length length = 0;
        if (!transferFully(::read, tasks, reinterpret_cast<char*>(&length), sizeof length)) _exit(0);
        task.resize(length);
        if (!transferFully(::read, tasks, task.data(), length)) _exit(1);
        int status = 0;
        try {
            reply.clear();
            appendMessage(reply, work(task));
        } catch (...) {
            status = 1;
        }
        if (status != 0 || !transferFully(::write, results, reply.data(), reply.size())) _exit(1);
    }
}

struct Worker {
    pid_t pid = -1;
    int tasks = -1;    // the parent's end of the pipe of tasks
    int results = -1;  // the parent's end of the pipe of results
    std::string outgoing;
    std::size_t sent = 0;
    std::string incoming;
    std::size_t consumed = 0;
    std::deque<std::size_t> pending;  // task numbers given and not yet answered
};

class Pool {
public:
    Pool(int jobs, const PoolWork& work, const StopSignals& signals) : signals_(signals) {
        std::fflush(nullptr);
        for (int k = 0; k < jobs; ++k) start(work);
    }
    ~Pool() {
        for (Worker& worker : workers_) {
            closeFd(worker.tasks);
            closeFd(worker.results);
            if (worker.pid > 0) {
                kill(worker.pid, SIGKILL);
                waitpid(worker.pid, nullptr, 0);
            }
        }
    }

    std::vector<Worker>& workers() { return workers_; }

    // Closes the task pipes, so that the workers end, and checks how they did.
    void finish() {
        for (Worker& worker : workers_) closeFd(worker.tasks);
        for (Worker& worker : workers_) {
            int status = 0;
            const pid_t pid = std::exchange(worker.pid, -1);
            if (waitpid(pid, &status, 0) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0) failed();
        }
    }

    // A worker ended before its time: stopped by a signal that reached us
    // too, or failed.
    [[noreturn]] void failed() const {
        sigset_t pending;
        sigpending(&pending);
        for (const int signal : {SIGINT, SIGTERM})
            if (StopSignals::received() == signal || sigismember(&pending, signal)) throw Stopped{signal};
        throw std::runtime_error("a worker process failed");
    }

    const StopSignals& signals() const { return signals_; }

private:
    static void closeFd(int& fd) {
        if (fd >= 0) close(std::exchange(fd, -1));
    }

    void start(const PoolWork& work) {
        int tasks[2], results[2];
        if (pipe(tasks) != 0) throw std::runtime_error(std::string("cannot start a worker process: ") + std::strerror(errno));
        if (pipe(results) != 0) {
            close(tasks[0]);
            close(tasks[1]);
            throw std::runtime_error(std::string("cannot start a worker process: ") + std::strerror(errno));
        }
        const pid_t pid = fork();
        if (pid == 0) {
            // Ends with its parent, whatever ends the parent (even before this).
            const pid_t parent = getppid();
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            if (getppid() != parent) _exit(1);
            signals_.restore();
            for (const Worker& other : workers_) {
                close(other.tasks);
                close(other.results);
            }
            close(tasks[1]);
            close(results[0]);
            childRun(tasks[0], results[1], work);
        }
        close(tasks[0]);
        close(results[1]);
        Worker& worker = workers_.emplace_back();
        worker.tasks = tasks[1];
        worker.results = results[0];
        if (pid < 0) throw std::runtime_error(std::string("cannot start a worker process: ") + std::strerror(errno));
        worker.pid = pid;
        fcntl(worker.tasks, F_SETFL, fcntl(worker.tasks, F_GETFL) | O_NONBLOCK);
    }

    const StopSignals& signals_;
    std::vector<Worker> workers_;
};

}  // namespace

void runInProcesses(int jobs, std::size_t window, const std::function<std::optional<std::string>()>& next,
                    const PoolWork& work, const std::function<void(std::string&&)>& done,
                    const StopSignals& signals) {
    Pool pool(std::max(jobs, 1), work, signals);
    std::vector<Worker>& workers = pool.workers();
    std::map<std::size_t, std::string> finished;  // answered, waiting for those before them
    std::size_t given = 0, handedOn = 0;
    bool tasksLeft = true;
    std::vector<pollfd> polled;
    const auto read = std::make_unique<char[]>(kReadBytes);
    for (;;) {
        if (const int signal = StopSignals::received()) throw Stopped{signal};
        for (Worker& worker : workers)
            while (tasksLeft && worker.pending.size() < kTasksPerWorker && given < handedOn + window) {
                std::optional<std::string> task = next();
                if (!task) {
                    tasksLeft = false;
                    break;
                }
                appendMessage(worker.outgoing, *task);
                worker.pending.push_back(given++);
            }
        if (!tasksLeft && handedOn == given) break;

        polled.clear();
        for (const Worker& worker : workers) {
            polled.push_back({worker.results, POLLIN, 0});
            polled.push_back({worker.tasks, static_cast<short>(worker.sent < worker.outgoing.size() ? POLLOUT : 0), 0});
        }
        if (ppoll(polled.data(), polled.size(), nullptr, &pool.signals().openMask()) < 0) {
            if (errno == EINTR) continue;
            throw std::runtime_error(std::string("cannot wait for the worker processes: ") + std::strerror(errno));
        }
        for (std::size_t k = 0; k < workers.size(); ++k) {
            Worker& worker = workers[k];
            if (polled[2 * k + 1].revents & (POLLOUT | POLLERR)) {
                const ssize_t count =
                    write(worker.tasks, worker.outgoing.data() + worker.sent, worker.outgoing.size() - worker.sent);
                if (count < 0 && errno != EAGAIN && errno != EINTR) pool.failed();
                if (count > 0) worker.sent += static_cast<std::size_t>(count);
                if (worker.sent == worker.outgoing.size()) {
                    worker.outgoing.clear();
                    worker.sent = 0;
                }
            }
            if (polled[2 * k].revents & (POLLIN | POLLHUP | POLLERR)) {
                const ssize_t count = ::read(worker.results, read.get(), kReadBytes);
                if (count < 0 && errno == EINTR) continue;
                if (count <= 0) pool.failed();
                worker.incoming.append(read.get(), static_cast<std::size_t>(count));
                while (std::optional<std::string> result = takeMessage(worker.incoming, worker.consumed)) {
                    finished.emplace(worker.pending.front(), std::move(*result));
                    worker.pending.pop_front();
                }
                worker.incoming.erase(0, std::exchange(worker.consumed, 0));
            }
        }
        for (auto first = finished.begin(); first != finished.end() && first->first == handedOn;
             first = finished.erase(first), ++handedOn)
            done(std::move(first->second));
    }
    pool.finish();
}

}  // namespace samplenet_cli
