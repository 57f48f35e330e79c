// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/SystemError.h"

#include <system_error>

namespace penmark {

SystemError::SystemError(int errorNumber, std::string_view subject) : errorNumber_(errorNumber)
{
    sentence_.append(subject).append(": ").append(reason(errorNumber));
}

std::string SystemError::reason(int errorNumber)
{
    return std::generic_category().message(errorNumber);
}

}  // namespace penmark
