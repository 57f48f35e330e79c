// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <exception>
#include <string>
#include <string_view>

namespace penmark {

/// Every failure of the library that reaches the user. what() is the complete sentence, shown as it stands.
class RecoveryError : public std::exception {
public:
    enum class Case {
        storage,           ///< detail: the message behind the fixed beginning
        newerSchema,       ///< detail: the schema version in decimal
        revisionConflict,  ///< the document has another head than the writer started from
        externalChange,    ///< the file on disk is not the one that was last read or saved
        unsupportedText,   ///< the bytes are in none of the four encodings
        missingContent,    ///< a stored text is not there or not what its hash says
        locked,            ///< another process, or another store of this one, holds the library
    };

    explicit RecoveryError(Case which, std::string_view detail = {});

    /// The `storage` case with its message.
    static RecoveryError storage(std::string_view message) { return RecoveryError(Case::storage, message); }

    Case which() const noexcept { return which_; }
    const std::string& detail() const noexcept { return detail_; }
    const char* what() const noexcept override { return sentence_.c_str(); }

private:
    Case which_;
    std::string detail_;
    std::string sentence_;
};

}  // namespace penmark
