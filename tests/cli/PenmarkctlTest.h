// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "base/FileDescriptor.h"
#include "cli/RunProgram.h"
#include "storage/DocumentStore.h"
#include "storage/RecoveryStore.h"
#include "storage/TemporaryFolder.h"

#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

namespace penmark {

/// Runs penmarkctl, the real one, in a folder of its own with the library "library".
class PenmarkctlTest : public testing::Test {
protected:
    using Words = std::vector<std::string>;

    static Words command(Words words)
    {
        words.insert(words.begin(), PENMARK_BIN "/penmarkctl");
        return words;
    }

    /// An identity that no random one can be.
    static constexpr std::string_view nobody = "00000000-0000-0000-0000-000000000000";

    ProgramCall call(Words words, std::string input = {}) const
    {
        ProgramCall call;
        call.words = command(std::move(words));
        call.input = std::move(input);
        call.folder = folder.path();
        call.environment = {{"PENMARK_DATA_ROOT", library()}, {"HOME", folder.path()}};
        return call;
    }

    ProgramResult run(Words words, std::string input = {}) const
    {
        return runProgram(call(std::move(words), std::move(input)));
    }

    /// Standard output of a run that must succeed and have nothing to say besides.
    std::string output(Words words, std::string input = {}) const
    {
        const ProgramResult result = run(words, std::move(input));
        EXPECT_EQ(result.status, 0) << testing::PrintToString(words);
        EXPECT_EQ(result.errors, "") << testing::PrintToString(words);
        return result.output;
    }

    /// The same when it is one line.
    std::string line(Words words, std::string input = {}) const
    {
        std::string text = output(std::move(words), std::move(input));
        EXPECT_TRUE(text.ends_with('\n') && text.find('\n') == text.size() - 1) << text;
        return text.substr(0, text.find('\n'));
    }

    /// Standard error of a run that must fail with status 1 and print nothing else.
    std::string failure(Words words, std::string input = {}) const
    {
        const ProgramResult result = run(words, std::move(input));
        EXPECT_EQ(result.status, 1) << testing::PrintToString(words);
        EXPECT_EQ(result.output, "") << testing::PrintToString(words);
        return result.errors;
    }

    std::string library() const { return path("library"); }
    std::string path(const std::string& name) const { return (folder.path() / name).native(); }

    void put(const std::string& name, std::string_view bytes) const
    {
        std::filesystem::create_directories((folder.path() / name).parent_path());
        std::ofstream(path(name), std::ios::binary) << bytes;
    }

    std::string get(const std::string& name) const { return readFile(path(name)); }

    std::unique_ptr<RecoveryStore> openLibrary() const
    {
        return std::make_unique<RecoveryStore>(RecoveryConfiguration{library(), std::nullopt});
    }

    static std::vector<std::string> split(const std::string& text, char separator = '\n')
    {
        std::vector<std::string> parts;
        std::istringstream stream(text);
        for (std::string part; std::getline(stream, part, separator);)
            parts.push_back(part);
        return parts;
    }

    /// One column of a table, the rows joined by "|".
    static std::string column(const std::string& table, std::size_t index)
    {
        std::string joined;
        for (const std::string& row : split(table)) {
            const auto fields = split(row, '\t');
            joined.append(joined.empty() ? "" : "|").append(index < fields.size() ? fields[index] : "");
        }
        return joined;
    }

    TemporaryFolder folder;
};

constexpr auto refusal = "This file is not valid UTF-8 or BOM-marked UTF-16 text. No bytes have been changed.";
constexpr auto missingContent = "The recovery content is missing or damaged. The library has not been reset.";

}  // namespace penmark
