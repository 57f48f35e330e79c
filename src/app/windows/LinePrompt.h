// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QRect>
#include <QString>
#include <cstddef>
#include <functional>
#include <optional>

class QWidget;

namespace penmark {

/// A line to be filled in, over a part of a window: Enter takes what is there, Esc and a loss of the focus leave
/// everything as it was.
struct LinePrompt {
    QString name;                 ///< for assistive technology, and as a hint where nothing is typed
    QString text;                 ///< selected at first
    QRect place;                  ///< in the window
    bool commitsOnLeave = false;  ///< losing the focus takes what is there
    std::function<void(const QString& text)> taken;
};

void openLinePrompt(QWidget& window, const LinePrompt& prompt);

/// A place as people type it: "12", "12:5", ":5" in the same line, "+3" and "-3" lines from here. Lines and columns
/// from 1; absent if it is none of these.
struct TypedPlace {
    std::size_t line = 0;
    std::size_t column = 1;
    friend bool operator==(const TypedPlace&, const TypedPlace&) = default;
};
std::optional<TypedPlace> parsePlace(const QString& text, std::size_t presentLine, std::size_t lineCount);

}  // namespace penmark
