// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <exception>
#include <string>
#include <string_view>

namespace penmark {

/// A system call that failed. what() is "SUBJECT: the system's own reason"; the subject is a path or a call's name.
class SystemError : public std::exception {
public:
    SystemError(int errorNumber, std::string_view subject);

    int errorNumber() const noexcept { return errorNumber_; }
    const char* what() const noexcept override { return sentence_.c_str(); }

    /// The system's reason alone, as in "No space left on device". Any thread.
    static std::string reason(int errorNumber);

private:
    int errorNumber_;
    std::string sentence_;
};

/// Long work that was asked to stop: an answer, not a failure, so it derives from nothing that failures are caught by.
struct Cancelled {};

}  // namespace penmark
