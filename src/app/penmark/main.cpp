// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/appearance/Appearance.h"
#include "app/penmark/EarlyStart.h"
#include "app/penmark/FailureWindow.h"
#include "app/penmark/RunningProgram.h"
#include "app/settings/Settings.h"
#include "app/shell/HandOverClient.h"
#include "app/shell/LockHolder.h"
#include "app/shell/ProgramOptions.h"
#include "app/windows/DocumentWindow.h"
#include "base/FileDescriptor.h"
#include "base/SystemError.h"
#include "storage/RecoveryError.h"

#include <QApplication>
#include <QIcon>
#include <QTimer>
#include <QWindow>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <malloc.h>
#include <spawn.h>
#include <unistd.h>

using namespace penmark;

namespace {

constexpr auto hiddenDelay = std::chrono::milliseconds(60);  // behind the first frame, for what nobody waits for
constexpr auto patienceWithOther = std::chrono::seconds(5);  // that is just starting or ending
constexpr auto pauseBetween = std::chrono::milliseconds(50);

struct Asked {
    ProgramOptions options;
    RecoveryConfiguration configuration;
    Environment environment;
    HandOverRequest request;
    std::vector<OpenRequest> files;
};

int checkLibrary(const Asked& asked)
{
    const auto opened = openLibrary(asked.configuration, asked.environment);
    if (!opened.store) {
        std::fprintf(stderr, "penmark: %s\n", opened.status.message().c_str());
        return static_cast<int>(ExitStatus::libraryUnavailable);
    }
    if (!opened.store->integrityCheck()) {
        std::fprintf(stderr, "penmark: The library's database is damaged. Nothing has been changed.\n");
        return static_cast<int>(ExitStatus::libraryUnavailable);
    }
    std::puts("The library's database is sound.");
    return 0;
}

/// Tells when something has been seen: everything that can wait, waits for it.
class FirstFrame final : public QObject {
public:
    FirstFrame(QWidget& window, std::function<void()> seen) : QObject(&window), seen_(std::move(seen))
    {
        window.windowHandle()->installEventFilter(this);
        // Where no window is ever exposed, the rest goes on all the same.
        QTimer::singleShot(2000, this, [this] { happened(); });
    }

private:
    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Expose)
            QTimer::singleShot(hiddenDelay, this, [this] { happened(); });
        return false;
    }
    void happened()
    {
        if (seen_)
            std::exchange(seen_, nullptr)();
    }

    std::function<void()> seen_;
};

std::optional<int> handOverTo(Asked& asked, HandOverPatience patience)
{
    using Outcome = HandOverResult::Outcome;
    const auto end = std::chrono::steady_clock::now() + patienceWithOther;
    HandOverResult result = handOver(asked.configuration.root, asked.request, patience);
    // The request is kept until somebody takes it: another program, or this one when the other has ended.
    while (result.outcome == Outcome::ending && std::chrono::steady_clock::now() < end) {
        std::this_thread::sleep_for(pauseBetween);
        result = handOver(asked.configuration.root, asked.request, patience);
    }
    if (result.outcome == Outcome::notRunning)
        return std::nullopt;
    if (result.outcome == Outcome::accepted)
        return result.exitStatus;
    if (result.outcome == Outcome::refused) {
        std::fprintf(stderr, "penmark: %s\n", result.sentence.c_str());
        return result.exitStatus;
    }
    return std::nullopt;  // what is wrong shows when the library is opened
}

/// Starts the program on its own, so that it outlives this process, and waits for the documents as for those of any
/// program that runs.
int startAndWait(Asked& asked)
{
    std::vector<std::string> words{"penmark"};
    if (asked.options.library)
        words.insert(words.end(), {"--library", asked.options.library->string()});
    if (asked.options.noRestore)
        words.emplace_back("--no-restore");
    words.insert(words.end(), asked.options.toolkitWords.begin(), asked.options.toolkitWords.end());
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t files;
    posix_spawnattr_t attributes;
    posix_spawn_file_actions_init(&files);
    // Whoever reads what this process prints must not wait for the one that stays.
    posix_spawn_file_actions_addopen(&files, STDIN_FILENO, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_adddup2(&files, STDIN_FILENO, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&files, STDIN_FILENO, STDERR_FILENO);
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    pid_t child = 0;
    const int failure = posix_spawn(&child, "/proc/self/exe", &files, &attributes, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&files);
    posix_spawnattr_destroy(&attributes);
    if (failure != 0) {
        std::fprintf(stderr, "penmark: %s\n", SystemError(failure, "penmark").what());
        return static_cast<int>(ExitStatus::libraryUnavailable);
    }
    if (const auto status = handOverTo(asked, {.forListener = std::chrono::seconds(15)}))
        return *status;
    std::fprintf(stderr, "penmark: The library could not be opened.\n");
    return static_cast<int>(ExitStatus::libraryUnavailable);
}

bool isLocked(const EarlyLibrary& library)
{
    return library.status.failure() == RecoveryError::Case::locked;
}

int runProgram(const Asked& asked, EarlyLibrary library, LoadedSettings loaded)
{
    const bool restores = !asked.options.noRestore && loaded.settings.restoreWindows;
    const std::vector<std::string> problems = library.problems;
    Program program(std::move(library), settingsPath(), std::move(loaded));
    RunningProgram running(program);
    program.start(asked.files, restores, asked.options.newWindow, asked.options.newDraft);
    DocumentWindow& front = program.frontWindow();
    if (asked.options.readsStandardInput()) {
        const auto failure =
            running.openStandardInput(asked.request.standardInput, asked.options.standardInputTitle, front);
        if (failure)
            front.showBar(QString::fromStdString(*failure), DocumentMessage::Weight::warning, {});
    }
    for (const OpenTarget& target : asked.options.targets) {
        std::error_code error;
        if (!target.standardInput && std::filesystem::is_directory(target.path, error))
            program.showFolder(target.path);
    }
    if (!problems.empty() && program.isReadOnly())
        front.showMessage(QString::fromStdString(problems.front()));  // the bar says what matters more
    else if (!problems.empty())
        front.showBar(QString::fromStdString(problems.front()), DocumentMessage::Weight::failure, {});
    new FirstFrame(front, [&] {
        program.afterFirstFrame();
        running.start();
        QApplication::setWindowIcon(QIcon::fromTheme(QStringLiteral("org.penmark.Penmark")));
    });
    return QApplication::exec();
}

int run(int argc, char** argv, Asked& asked, std::future<EarlyLibrary> early, std::future<LoadedSettings> settings)
{
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("penmark"));
    QApplication::setApplicationDisplayName(QString());
    QApplication::setApplicationVersion(QStringLiteral(PENMARK_VERSION));
    QApplication::setDesktopFileName(QStringLiteral("org.penmark.Penmark"));

    EarlyLibrary library = early.get();
    LoadedSettings loaded = settings.get();
    // Whoever holds the lock may just be starting, and will listen, or ending, and will let go of it.
    const auto end = std::chrono::steady_clock::now() + patienceWithOther;
    while (isLocked(library) && std::chrono::steady_clock::now() < end) {
        if (const auto status = handOverTo(asked, {.forListener = pauseBetween}))
            return *status;
        library = startEarly(asked.configuration, asked.environment, asked.files, !asked.options.noRestore);
    }
    while (!library.store) {
        Appearance appearance;
        appearance.apply(loaded.settings.appearance, loaded.settings.lastSystemDark);
        const auto holder = lockHolder(asked.configuration.root / "writer.lock");
        FailureWindow window(library.status, asked.configuration, static_cast<int>(holder.value_or(0)));
        std::optional<LibraryAccess> again;
        QObject::connect(&window, &FailureWindow::tryAgain, &window, [&](LibraryAccess access) {
            again = access;
            window.close();
        });
        window.show();
        QApplication::exec();
        if (!again)
            return static_cast<int>(ExitStatus::libraryUnavailable);
        library = startEarly(asked.configuration, asked.environment, asked.files, !asked.options.noRestore, *again);
    }

    const int status = runProgram(asked, std::move(library), std::move(loaded));
    // Everything is stored and closed. A file that is still being read to see whether it has changed, on a disk that
    // does not answer perhaps, is waited for by nobody.
    std::fflush(nullptr);
    std::_Exit(status);
}

}  // namespace

int main(int argc, char** argv)
{
    Asked asked;
    try {
        const std::vector<std::string> words(argv + 1, argv + argc);
        asked.options = ProgramOptions::parse(words, std::filesystem::current_path());
    } catch (const CommandLineError& error) {
        std::fputs(error.report().c_str(), stderr);
        return static_cast<int>(error.status());
    }
    if (asked.options.help) {
        std::fputs(ProgramOptions::helpText().c_str(), stdout);
        return 0;
    }
    if (asked.options.version) {
        std::fputs(ProgramOptions::versionText().c_str(), stdout);
        return 0;
    }
    asked.environment = currentEnvironment();
    asked.configuration = RecoveryConfiguration::fromEnvironment(asked.environment);
    if (asked.options.library)
        asked.configuration = {*asked.options.library, std::nullopt};
    if (asked.options.checkLibrary)
        return checkLibrary(asked);

    HandOverRequest& request = asked.request;
    request.version = PENMARK_VERSION;
    request.targets = asked.options.targets;
    request.workingFolder = std::filesystem::current_path().string();
    request.newWindow = asked.options.newWindow;
    request.wait = asked.options.wait;
    request.newDraft = asked.options.newDraft;
    request.standardInputTitle = asked.options.standardInputTitle;
    request.activationToken = activationTokenFromEnvironment();
    if (asked.options.readsStandardInput()) {
        try {
            request.standardInput = FileDescriptor(::dup(STDIN_FILENO), "standard input").readToEnd();
        } catch (const SystemError& error) {
            std::fprintf(stderr, "penmark: %s\n", error.what());
            return static_cast<int>(ExitStatus::fileRefused);
        }
    }
    if (const auto status = handOverTo(asked, {}))
        return *status;
    if (asked.options.wait)
        return startAndWait(asked);

    // One arena for all threads: what a large text leaves behind is given back to the system.
    mallopt(M_ARENA_MAX, 2);
    asked.files = openRequests(asked.options.targets);
    auto settings = std::async(std::launch::async, [] { return loadSettings(settingsPath()); });
    auto early = std::async(std::launch::async, [&] {
        return startEarly(asked.configuration, asked.environment, asked.files, !asked.options.noRestore);
    });
    std::vector<std::string> words{argv[0]};
    words.insert(words.end(), asked.options.toolkitWords.begin(), asked.options.toolkitWords.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    int count = static_cast<int>(words.size());
    return run(count, pointers.data(), asked, std::move(early), std::move(settings));
}
