// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/RunProgram.h"

#include "CpuTime.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace penmark {

namespace {

int orThrow(int result, const char* what)
{
    if (result < 0)
        throw std::system_error(errno, std::generic_category(), what);
    return result;
}

int memoryFile(const std::string& bytes = {})
{
    const int file = orThrow(memfd_create("stream", MFD_CLOEXEC), "memfd_create");
    for (std::size_t at = 0; at < bytes.size();)
        at += static_cast<std::size_t>(
            orThrow(static_cast<int>(write(file, bytes.data() + at, std::min<std::size_t>(bytes.size() - at, 1 << 20))),
                    "write"));
    lseek(file, 0, SEEK_SET);
    return file;
}

// From the beginning, without moving the place where the child writes on.
std::string contents(int file)
{
    std::string bytes;
    std::array<char, 65'536> buffer{};
    for (;;) {
        const ssize_t got = pread(file, buffer.data(), buffer.size(), static_cast<off_t>(bytes.size()));
        if (got <= 0)
            return bytes;
        bytes.append(buffer.data(), static_cast<std::size_t>(got));
    }
}

#if defined(__SANITIZE_THREAD__) || PENMARK_HAS_FEATURE(thread_sanitizer)
constexpr bool losesSignals = true;
#else
constexpr bool losesSignals = false;
#endif

// Without taking the child away: its end can still be waited for.
bool hasEnded(int process)
{
    siginfo_t end{};
    return waitid(P_PID, static_cast<id_t>(process), &end, WEXITED | WNOHANG | WNOWAIT) != 0 || end.si_pid != 0;
}

std::vector<char*> pointers(std::vector<std::string>& words)
{
    std::vector<char*> list;
    for (std::string& word : words)
        list.push_back(word.data());
    list.push_back(nullptr);
    return list;
}

}  // namespace

RunningProgram::RunningProgram(const ProgramCall& call) : isTerminal_(call.onTerminal)
{
    const int input = call.inputStream ? *call.inputStream : memoryFile(call.input);
    int childOutput = -1;
    int childErrors = -1;
    if (isTerminal_) {
        output_ = orThrow(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "posix_openpt");
        grantpt(output_);
        unlockpt(output_);
        childOutput = childErrors = orThrow(::open(ptsname(output_), O_RDWR | O_NOCTTY | O_CLOEXEC), "open");
        const winsize size{50, 100, 0, 0};
        ioctl(childOutput, TIOCSWINSZ, &size);
    } else {
        childOutput = output_ = memoryFile();
        childErrors = errors_ = memoryFile();
    }

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    if (input == -1)
        posix_spawn_file_actions_addclose(&actions, STDIN_FILENO);
    else
        posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, childErrors, STDERR_FILENO);
    if (call.output.value_or(childOutput) == -1)
        posix_spawn_file_actions_addclose(&actions, STDOUT_FILENO);
    else
        posix_spawn_file_actions_adddup2(&actions, call.output.value_or(childOutput), STDOUT_FILENO);
    if (!call.folder.empty())
        posix_spawn_file_actions_addchdir_np(&actions, call.folder.c_str());

    std::vector<std::string> words = call.words;
    const char* path = std::getenv("PATH");
    std::vector<std::string> environment;
    for (const auto& [name, value] : call.environment)
        environment.push_back(name + "=" + value);
    // Of a name that is there twice the first one counts.
    environment.insert(environment.end(), {"TERM=xterm", "PATH=" + std::string(path == nullptr ? "/bin" : path)});
    const int error = posix_spawnp(&process_, words[0].c_str(), &actions, nullptr, pointers(words).data(),
                                   pointers(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (!call.inputStream)
        close(input);
    if (isTerminal_)
        close(childOutput);
    if (error != 0)
        throw std::system_error(error, std::generic_category(), words[0]);
}

RunningProgram::~RunningProgram()
{
    if (process_ > 0) {
        kill(process_, SIGKILL);
        waitpid(process_, nullptr, 0);
    }
    for (const int file : {output_, errors_}) {
        if (file >= 0)
            close(file);
    }
}

std::string RunningProgram::outputUntilNow() const
{
    return contents(output_);
}

void RunningProgram::interrupt(int signal) const
{
    kill(process_, signal);
    // The runtime of ThreadSanitizer loses about one signal in a hundred, those that come as a thread begins to wait.
    for (int left = losesSignals ? 2000 : 0; left > 0 && !hasEnded(process_); --left) {
        if (left == 1)
            kill(process_, signal);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

ProgramResult RunningProgram::wait()
{
    ProgramResult result;
    if (isTerminal_) {  // its other end must be emptied for the program to go on
        std::array<char, 4096> buffer{};
        for (ssize_t got = 0; (got = read(output_, buffer.data(), buffer.size())) > 0;)
            result.output.append(buffer.data(), static_cast<std::size_t>(got));
    }
    int status = 0;
    while (waitpid(process_, &status, 0) < 0 && errno == EINTR) {}
    process_ = -1;
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    if (!isTerminal_) {
        result.output = contents(output_);
        result.errors = contents(errors_);
    }
    return result;
}

}  // namespace penmark
