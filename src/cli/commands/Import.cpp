// SPDX-License-Identifier: GPL-3.0-or-later
#include "base/SystemError.h"
#include "cli/Command.h"
#include "cli/FileTree.h"
#include "cli/Interruption.h"
#include "cli/TextInput.h"
#include "storage/RecoveryError.h"

namespace penmark::cli {

namespace {

// What became of the files; the account of it is given at the end.
class Import {
public:
    Import(Console& console, RecoveryStore& store) : console_(console), documents_(store) {}

    void leaveOut(const std::filesystem::path& path, std::string_view reason, bool isFailure)
    {
        console_.say(path.native() + ": " + std::string(reason));
        ++(isFailure ? unread_ : skipped_);
    }

    // The identifier is printed once its document is on disk. What the library refuses ends everything.
    void store(const std::filesystem::path& file)
    {
        const auto input = read(file);
        if (!input)
            return;
        console_.printLine(storeAsDocument(documents_, *input, input->title()).id.text());
        console_.flush();
        ++stored_;
    }

    int finish()
    {
        if (skipped_ > 0)
            console_.say("Skipped what is not a text file: " + std::to_string(skipped_) + ".");
        if (unread_ > 0)
            console_.say("Could not be read: " + std::to_string(unread_) + ".");
        if (stored_ == 0)
            console_.say("No text file was found, so nothing was stored.");
        return unread_ == 0 && stored_ > 0 ? 0 : 1;
    }

private:
    std::optional<TextInput> read(const std::filesystem::path& file)
    {
        try {
            auto input = TextInput::readRegularFile(file);
            if (!input)
                leaveOut(file, "Not a regular file.", false);
            return input;
        } catch (const SystemError& error) {
            leaveOut(file, SystemError::reason(error.errorNumber()), true);
        } catch (const RecoveryError& error) {
            leaveOut(file, error.what(), false);
        }
        return std::nullopt;
    }

    Console& console_;
    DocumentStore documents_;
    std::size_t stored_ = 0;
    std::size_t skipped_ = 0;
    std::size_t unread_ = 0;
};

}  // namespace

int commands::import(CommandContext& context, const Arguments& arguments)
{
    for (const std::string& path : arguments.operands()) {
        if (path == "-")
            throw UsageError("“import” reads files and folders; “new” stores standard input");
    }
    Console& console = context.console;
    RecoveryStore& store = context.openOrCreateLibrary();
    Import import(console, store);
    FileTree tree(store.root(), [&](const std::filesystem::path& path, std::string_view reason, bool isFailure) {
        import.leaveOut(path, reason, isFailure);
    });
    for (const std::string& path : arguments.operands())
        tree.add(path);

    const auto& files = tree.files();
    for (std::size_t i = 0; i < files.size(); ++i) {
        stopIfInterrupted();
        console.progress(i, files.size(), files[i].native());
        import.store(files[i]);
    }
    console.endProgress();
    return import.finish();
}

}  // namespace penmark::cli
