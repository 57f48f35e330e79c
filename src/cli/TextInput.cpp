// SPDX-License-Identifier: GPL-3.0-or-later
#include "cli/TextInput.h"

#include "base/FileDescriptor.h"
#include "base/SystemError.h"
#include "base/Utf8.h"
#include "cli/DisplayText.h"
#include "storage/RecoveryError.h"

#include <algorithm>
#include <array>
#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace penmark::cli {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t longestTitle = 60;  // columns, when it is taken from the text

bool isControl(char character)
{
    return static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
}

// Empty if the line is blank.
std::string titleOfLine(std::string_view line)
{
    std::string title(line);
    std::replace_if(title.begin(), title.end(), isControl, ' ');
    title.erase(0, title.find_first_not_of(' '));
    title.erase(title.find_last_not_of(' ') + 1);
    return shortened(title, longestTitle);
}

std::string titleOfText(std::string_view text)
{
    // A title that needs more than this to begin would be no title.
    for (std::string_view rest = text.substr(0, 65'536); !rest.empty();) {
        const auto end = rest.find_first_of("\r\n");
        // Only the last line looked at can end within a character.
        std::string title = titleOfLine(repairUtf8(rest.substr(0, std::min<std::size_t>(end, 4096))));
        if (!title.empty())
            return title;
        rest.remove_prefix(std::min(end, rest.size() - 1) + 1);
    }
    return {};
}

// Throws `unsupportedText` if the beginning already shows that a file is no text: an image of a disk need not be read
// for that. What it lets pass is judged by decodeText.
void refuseBinary(const FileDescriptor& file)
{
    std::array<char, 65'536> bytes{};
    const ssize_t got = pread(file.get(), bytes.data(), bytes.size(), 0);
    const std::string_view beginning(bytes.data(), got > 0 ? static_cast<std::size_t>(got) : 0);
    const bool isMarked =
        beginning.starts_with("\xff\xfe") || beginning.starts_with("\xfe\xff") || beginning.starts_with("\xef\xbb\xbf");
    if (!isMarked && beginning.find('\0') != std::string_view::npos)
        throw RecoveryError(RecoveryError::Case::unsupportedText);
}

}  // namespace

TextInput TextInput::read(const std::optional<std::string>& name)
{
    if (name && *name != "-")
        return {decodeText(readFile(*name)), fs::path(*name)};
    const int copy = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    if (copy < 0)
        throw SystemError(errno, "standard input");
    return {decodeText(FileDescriptor(copy, "standard input").readToEnd()), std::nullopt};
}

std::optional<TextInput> TextInput::readRegularFile(const fs::path& file)
{
    // Opening a pipe would wait for somebody to write into it.
    const auto descriptor = FileDescriptor::open(file, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    struct stat status {};
    if (fstat(descriptor.get(), &status) != 0)
        throw SystemError(errno, file.native());
    if (!S_ISREG(status.st_mode))
        return std::nullopt;
    refuseBinary(descriptor);
    return TextInput{decodeText(descriptor.readToEnd()), file};
}

std::string TextInput::title() const
{
    if (file && file->has_filename())
        return repairUtf8(file->filename().native());
    std::string title = titleOfText(decoded.text);
    return title.empty() ? "Untitled" : title;
}

RecoveryDocument storeAsDocument(DocumentStore& documents, const TextInput& input, std::string title,
                                 std::optional<std::string> languageName)
{
    RecoveryDocument document = documents.newDocument(std::move(title));
    document.languageName = std::move(languageName);
    document.encoding = input.decoded.encoding;
    if (input.file) {
        std::error_code error;
        const fs::path path = fs::absolute(*input.file, error);
        if (!error)
            document.originPath = repairUtf8(path.lexically_normal().native());
    }
    return documents.createWithText(document, input.decoded.text).document;
}

}  // namespace penmark::cli
