// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>

class QWindow;

namespace penmark {

/// Brings a window that is shown to the front and gives it the keyboard. The desktop agrees where the user's last act
/// led here: `token` is what it gave to the program that the user started (HandOverRequest::activationToken), or empty.
/// Without a token, or where the desktop disagrees, the window asks for attention at most. Main thread.
void activateWindow(QWindow& window, const std::string& token);

}  // namespace penmark
