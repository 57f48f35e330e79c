// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/ChildProcess.h"

#include "base/SystemError.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <limits>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace penmark {

namespace {

constexpr std::size_t readSize = 65'536;  // what a pipe holds

void check(int errorNumber, const char* subject)
{
    if (errorNumber != 0)
        throw SystemError(errorNumber, subject);
}

class FileActions {
public:
    FileActions() { check(posix_spawn_file_actions_init(&actions_), "posix_spawn"); }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions_); }
    FileActions(const FileActions&) = delete;
    FileActions& operator=(const FileActions&) = delete;
    posix_spawn_file_actions_t* get() { return &actions_; }

private:
    posix_spawn_file_actions_t actions_{};
};

class Attributes {
public:
    Attributes() { check(posix_spawnattr_init(&attributes_), "posix_spawn"); }
    ~Attributes() { posix_spawnattr_destroy(&attributes_); }
    Attributes(const Attributes&) = delete;
    Attributes& operator=(const Attributes&) = delete;
    posix_spawnattr_t* get() { return &attributes_; }

private:
    posix_spawnattr_t attributes_{};
};

struct Pipe {
    FileDescriptor readEnd;
    FileDescriptor writeEnd;
};

/// The same file under a number that is none of the three which the program gets in their place.
FileDescriptor aboveStandardOnes(FileDescriptor given)
{
    if (given.get() > STDERR_FILENO)
        return given;
    const int moved = fcntl(given.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    if (moved < 0)
        throw SystemError(errno, "fcntl");
    return FileDescriptor(moved);
}

Pipe makePipe()
{
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0)
        throw SystemError(errno, "pipe");
    Pipe pipe{FileDescriptor(ends[0]), FileDescriptor(ends[1])};
    pipe.readEnd = aboveStandardOnes(std::move(pipe.readEnd));
    pipe.writeEnd = aboveStandardOnes(std::move(pipe.writeEnd));
    // Each end has flags of its own: the program's writes wait, our reads do not.
    if (fcntl(pipe.readEnd.get(), F_SETFL, O_NONBLOCK) != 0)
        throw SystemError(errno, "fcntl");
    return pipe;
}

void setFiles(FileActions& actions, const Pipe& output, const Pipe& errors, const std::filesystem::path& folder)
{
    constexpr const char* subject = "posix_spawn";
    check(posix_spawn_file_actions_addopen(actions.get(), STDIN_FILENO, "/dev/null", O_RDONLY, 0), subject);
    check(posix_spawn_file_actions_adddup2(actions.get(), output.writeEnd.get(), STDOUT_FILENO), subject);
    check(posix_spawn_file_actions_adddup2(actions.get(), errors.writeEnd.get(), STDERR_FILENO), subject);
    check(posix_spawn_file_actions_addclosefrom_np(actions.get(), STDERR_FILENO + 1), subject);
    if (!folder.empty())
        check(posix_spawn_file_actions_addchdir_np(actions.get(), folder.c_str()), subject);
}

void setSignals(Attributes& attributes)
{
    sigset_t all;
    sigset_t none;
    sigfillset(&all);
    sigemptyset(&none);
    check(posix_spawnattr_setsigdefault(attributes.get(), &all), "posix_spawn");
    check(posix_spawnattr_setsigmask(attributes.get(), &none), "posix_spawn");
    check(posix_spawnattr_setflags(attributes.get(), POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK), "posix_spawn");
}

/// Whoever started this process may have left it the order to ignore the end of children, and then the system takes
/// them away before it can be asked how they ended.
void keepEndsOfChildren()
{
    struct sigaction now {};
    if (sigaction(SIGCHLD, nullptr, &now) == 0 && (now.sa_flags & SA_SIGINFO) == 0 && now.sa_handler == SIG_IGN)
        std::signal(SIGCHLD, SIG_DFL);
}

/// Takes what is there; closes the pipe at its end.
std::string readWhatIsThere(FileDescriptor& pipe)
{
    std::array<char, readSize> room;  // NOLINT(cppcoreguidelines-pro-type-member-init): written before it is read
    for (;;) {
        const ssize_t got = ::read(pipe.get(), room.data(), room.size());
        if (got > 0)
            return {room.data(), static_cast<std::size_t>(got)};
        if (got == 0) {
            pipe.reset();
            return {};
        }
        if (errno == EAGAIN)
            return {};
        if (errno != EINTR)
            throw SystemError(errno, "read");
    }
}

int statusOf(int waited)
{
    return WIFSIGNALED(waited) ? 128 + WTERMSIG(waited) : WEXITSTATUS(waited);
}

}  // namespace

ChildProcess::ChildProcess(const Call& call)
{
    Pipe output = makePipe();
    Pipe errors = makePipe();
    FileActions actions;
    setFiles(actions, output, errors, call.folder);
    Attributes attributes;
    setSignals(attributes);

    keepEndsOfChildren();
    // The working directory changes before the program is looked for.
    const std::string program = std::filesystem::absolute(call.program).native();
    std::vector<char*> words{const_cast<char*>(program.c_str())};
    for (const std::string& argument : call.arguments)
        words.push_back(const_cast<char*>(argument.c_str()));
    words.push_back(nullptr);
    check(posix_spawn(&process_, program.c_str(), actions.get(), attributes.get(), words.data(), environ),
          program.c_str());
    output_ = std::move(output.readEnd);
    errors_ = std::move(errors.readEnd);
}

ChildProcess::~ChildProcess()
{
    terminate();
}

ChildProcess::Output ChildProcess::read(std::chrono::milliseconds wait, int wakeUp)
{
    using Milliseconds = std::chrono::milliseconds;
    Output result;
    result.atEnd = !output_.isOpen() && !errors_.isOpen();
    if (result.atEnd)
        return result;
    // A closed descriptor is -1 here, which poll leaves out.
    std::array<pollfd, 3> polled{pollfd{output_.get(), POLLIN, 0}, pollfd{errors_.get(), POLLIN, 0},
                                 pollfd{wakeUp, POLLIN, 0}};
    const auto most = Milliseconds(std::numeric_limits<int>::max());
    const int timeout = static_cast<int>(std::clamp(wait, Milliseconds(-1), most).count());
    const int ready = poll(polled.data(), polled.size(), timeout);
    if (ready < 0 && errno != EINTR)
        throw SystemError(errno, "poll");
    if (ready > 0 && polled[0].revents != 0)
        result.output = readWhatIsThere(output_);
    if (ready > 0 && polled[1].revents != 0)
        result.errors = readWhatIsThere(errors_);
    result.atEnd = !output_.isOpen() && !errors_.isOpen();
    return result;
}

int ChildProcess::wait()
{
    while (!status_) {
        int waited = 0;
        if (waitpid(process_, &waited, 0) == process_)
            status_ = statusOf(waited);
        else if (errno != EINTR)
            throw SystemError(errno, "waitpid");
    }
    return *status_;
}

void ChildProcess::terminate() noexcept
{
    if (status_)
        return;
    kill(process_, SIGKILL);
    int waited = 0;
    while (waitpid(process_, &waited, 0) < 0) {
        // Where children are not waited for, the system has taken it away already.
        if (errno != EINTR)
            break;
    }
    status_ = statusOf(waited);
}

}  // namespace penmark
