// SPDX-License-Identifier: GPL-3.0-or-later
#include "search/FolderScanner.h"

#include "base/ChildProcess.h"
#include "base/FileDescriptor.h"
#include "base/SystemError.h"
#include "base/Utf8.h"
#include "search/TextSearchError.h"

#include <cerrno>
#include <cstdint>
#include <system_error>

#include <sys/eventfd.h>
#include <unistd.h>

namespace penmark {

namespace {

namespace fs = std::filesystem;

/// Takes the scanner's paths as they come, each with a NUL behind it.
class PathReader {
public:
    explicit PathReader(FolderScanner::Listing& listing) : listing_(listing) {}

    void take(std::string_view bytes)
    {
        if (const std::size_t end = bytes.find('\0'); !begun_.empty() && end != std::string_view::npos) {
            begun_.append(bytes.substr(0, end));
            bytes.remove_prefix(end + 1);
            this->end();
        }
        const std::size_t complete = bytes.rfind('\0') + 1;  // 0 if there is none
        addAll(bytes.substr(0, complete));
        begun_.append(bytes.substr(complete));
    }

    void end()
    {
        add(begun_, isValidUtf8(begun_));
        begun_.clear();
    }

private:
    /// Paths with a NUL behind each. Looked at together they take a fraction of the time.
    void addAll(std::string_view paths)
    {
        const bool areValid = isValidUtf8(paths);
        while (!paths.empty()) {
            const std::string_view path = paths.substr(0, paths.find('\0'));
            add(path, areValid || isValidUtf8(path));
            paths.remove_prefix(path.size() + 1);
        }
    }

    void add(std::string_view path, bool isValid)
    {
        if (path.empty())
            return;
        if (!isValid) {
            if (listing_.problems.empty())
                listing_.problems.emplace_back("A filename is not valid UTF-8; folder results are incomplete.");
            return;
        }
        if (listing_.files.size() == FolderScanner::fileLimit)
            throw TextSearchError("Folder scan reached one million files. Narrow the project scope.");
        if (path.starts_with("./"))
            path.remove_prefix(2);
        listing_.files.addFile(path);
    }

    FolderScanner::Listing& listing_;
    std::string begun_;
};

/// What the scanner says of errors, as far as it is kept.
class ErrorText {
public:
    void take(std::string_view bytes)
    {
        const std::size_t room = FolderScanner::errorLimit - kept_.size();
        isCut_ = isCut_ || bytes.size() > room;
        kept_.append(bytes.substr(0, room));
    }
    bool empty() const { return kept_.empty(); }
    std::string text() const { return repairUtf8(kept_) + (isCut_ ? "\nAdditional scanner errors omitted." : ""); }

private:
    std::string kept_;
    bool isCut_ = false;
};

/// A descriptor that has something to read once somebody asks to stop.
class StopDescriptor {
public:
    explicit StopDescriptor(const std::stop_token& stop) : event_(make()), callback_(stop, Signal{event_.get()}) {}
    int get() const { return event_.get(); }

private:
    struct Signal {
        int descriptor;
        void operator()() const noexcept
        {
            const std::uint64_t one = 1;
            // It can only fail where the number is about to overflow, and then there is something to read.
            [[maybe_unused]] const ssize_t put = ::write(descriptor, &one, sizeof one);
        }
    };
    static FileDescriptor make()
    {
        const int descriptor = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        if (descriptor < 0)
            throw SystemError(errno, "eventfd");
        return FileDescriptor(descriptor);
    }

    FileDescriptor event_;
    std::stop_callback<Signal> callback_;
};

bool isExecutableFile(const fs::path& path)
{
    std::error_code error;
    return fs::is_regular_file(path, error) && access(path.c_str(), X_OK) == 0;
}

std::vector<std::string> argumentsFor(const FolderScanner::Options& options)
{
    std::vector<std::string> arguments{"--files", "--null", "--no-config", "--threads", "2",          "--sort",
                                       "path",    "--glob", "!.git",       "--glob",    "!**/.git/**"};
    if (options.includeIgnored)
        arguments.emplace_back("--no-ignore");
    if (options.includeHidden)
        arguments.emplace_back("--hidden");
    arguments.emplace_back("--");
    arguments.emplace_back(".");
    return arguments;
}

void runScanner(const ChildProcess::Call& call, const std::stop_token& stop, FolderScanner::Listing& listing)
{
    const StopDescriptor stopped(stop);
    PathReader paths(listing);
    ErrorText errors;
    ChildProcess process(call);
    for (bool atEnd = false; !atEnd;) {
        const ChildProcess::Output output = process.read(std::chrono::milliseconds(-1), stopped.get());
        if (stop.stop_requested())
            throw Cancelled();
        paths.take(output.output);
        errors.take(output.errors);
        atEnd = output.atEnd;
    }
    paths.end();
    const int status = process.wait();
    // The scanner says by 1 that it has listed nothing, which is no failure of an empty folder.
    const bool isEmpty = status == 1 && listing.files.empty() && listing.problems.empty() && errors.empty();
    if (status != 0 && !isEmpty)
        throw TextSearchError("Folder scanner exited with status " + std::to_string(status) + errors.text());
}

}  // namespace

fs::path FolderScanner::bundledScanner()
{
    std::error_code error;
    const fs::path folder = fs::read_symlink("/proc/self/exe", error).parent_path();
    fs::path built = (folder / "../Contents/Helpers/rg").lexically_normal();
    if (fs::exists(built.parent_path(), error))
        return built;
    return (folder / PENMARK_PACKAGE_FROM_BIN "/Contents/Helpers/rg").lexically_normal();
}

FolderScanner::Listing FolderScanner::list(const std::string& folder, const Options& options,
                                           const std::stop_token& stop) const
{
    std::error_code error;
    if (!fs::path(folder).is_absolute() || !fs::is_directory(folder, error))
        throw TextSearchError("Choose an available project folder.");
    if (!isExecutableFile(scanner_))
        throw TextSearchError("The bundled folder scanner is missing. Reinstall Penmark.");
    Listing listing;
    listing.began = std::chrono::system_clock::now();
    listing.files.setFolder(folder);
    try {
        runScanner({scanner_, argumentsFor(options), folder}, stop, listing);
    } catch (const SystemError& failure) {
        throw TextSearchError(std::string("The folder scanner cannot be run: ") + failure.what());
    }
    return listing;
}

}  // namespace penmark
