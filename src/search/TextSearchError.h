// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <exception>
#include <string>
#include <utility>

namespace penmark {

/// Why a search, or a part of it, cannot be done. what() is the complete sentence, shown as it stands. Being asked to
/// stop is none of these: see Cancelled.
class TextSearchError : public std::exception {
public:
    enum class Case {
        message,      ///< any other, with its own sentence
        timeBudget,   ///< one text took too long; what was found in it so far counts
        staleResult,  ///< the text is another than the one that the result was found in
    };

    explicit TextSearchError(std::string message) : sentence_(std::move(message)) {}
    static TextSearchError timeBudget();
    static TextSearchError staleResult();

    Case which() const noexcept { return which_; }
    const char* what() const noexcept override { return sentence_.c_str(); }

private:
    TextSearchError(Case which, std::string sentence) : which_(which), sentence_(std::move(sentence)) {}

    Case which_ = Case::message;
    std::string sentence_;
};

}  // namespace penmark
