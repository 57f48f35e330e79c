// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/penmark/RunningProgram.h"

#include "app/penmark/EarlyStart.h"
#include "app/shell/LockHolder.h"
#include "app/shell/WindowActivation.h"
#include "app/windows/DocumentWindow.h"
#include "base/SystemError.h"

#include <QTimer>
#include <algorithm>

namespace penmark {

namespace {

// Whether another process holds the library's lock. Asks the system, since trying the lock could make another process
// fail that wants it at this moment.
bool isWriterAtWork(const std::filesystem::path& library)
{
    return lockHolder(library / "writer.lock").has_value();
}

}  // namespace

RunningProgram::RunningProgram(Program& program) : program_(program)
{
    connect(&signals_, &TerminationSignals::terminationRequested, this, [this] { program_.quit(true); });
    connect(&program_, &Program::tabClosed, this, &RunningProgram::tabClosed);
    if (program_.isReadOnly() && isWriterAtWork(program_.libraryRoot()))
        return;  // what is handed over belongs to that process, even if it does not answer now
    try {
        server_ = std::make_unique<HandOverServer>(program_.libraryRoot());
        connect(server_.get(), &HandOverServer::requested, this, &RunningProgram::takeOver, Qt::DirectConnection);
    } catch (const SystemError&) {
        // Another start will find the library locked and say so.
    }
}

RunningProgram::~RunningProgram()
{
    // The documents are stored; whoever waits for them may go on.
    for (const auto& waiting : waiting_)
        waiting->reply->finish();
}

void RunningProgram::start()
{
    connect(&suspend_, &SuspendWatcher::aboutToSuspend, this, [this](const std::function<void()>& done) {
        program_.storeAll([done](const std::optional<std::string>&) { done(); });
    });
    suspend_.start();
}

std::optional<std::string> RunningProgram::openStandardInput(const std::string& bytes,
                                                             const std::optional<std::string>& title,
                                                             DocumentWindow& window)
{
    try {
        openDraft(decodeText(bytes), title, window);
        return std::nullopt;
    } catch (const RecoveryError& error) {
        return error.what();
    }
}

Uuid RunningProgram::openDraft(DecodedText input, const std::optional<std::string>& title, DocumentWindow& window)
{
    RecoveryBuffer& draft =
        program_.documents().createDraft(EditorLanguage::plainText, TextSnapshot(std::move(input.text)));
    if (title)
        program_.documents().rename(draft.id(), *title);
    program_.documents().store(draft);
    window.showDocument(draft.id());
    return draft.id();
}

void RunningProgram::takeOver(const HandOverRequest& request, const std::shared_ptr<HandOverReply>& reply)
{
    if (program_.isEnding()) {
        reply->turnAway();
        return;
    }
    const auto refusal = std::make_shared<std::optional<std::string>>();
    const bool readsInput = std::any_of(request.targets.begin(), request.targets.end(),
                                        [](const OpenTarget& target) { return target.standardInput; });
    std::optional<DecodedText> input;
    try {
        if (readsInput)
            input = decodeText(request.standardInput);
    } catch (const RecoveryError& error) {
        *refusal = error.what();
        if (request.targets.size() == 1 && !request.newDraft) {
            reply->refuse(**refusal, static_cast<int>(ExitStatus::fileRefused));
            return;  // no window for nothing
        }
    }
    DocumentWindow& window = request.newWindow ? program_.newWindow() : program_.frontWindow();
    const auto waiting = std::make_shared<Waiting>();
    waiting->reply = reply;
    if (input)
        waiting->documents.insert(openDraft(std::move(*input), request.standardInputTitle, window));
    const std::vector<OpenRequest> files = openRequests(request.targets);
    const auto left = std::make_shared<std::size_t>(files.size() + 1);
    const auto ended = [this, waiting, left, refusal, reply, waits = request.wait] {
        if (--*left > 0)
            return;
        if (*refusal)
            reply->refuse(**refusal, static_cast<int>(ExitStatus::fileRefused));
        else
            settle(waiting, waits);
    };
    program_.open(
        files, window,
        [waiting, ended](const Uuid& document) {
            waiting->documents.insert(document);
            ended();
        },
        [refusal, ended](const FileRefusal& refused) {
            *refusal = refused.file.string() + ": " + refused.sentence;
            ended();
        });
    for (const OpenTarget& target : request.targets) {
        std::error_code error;
        if (!target.standardInput && std::filesystem::is_directory(target.path, error))
            program_.showFolder(target.path);
    }
    if (request.newDraft && !request.newWindow)  // a new window has one
        window.newDraft();
    ended();
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    if (window.windowHandle())
        activateWindow(*window.windowHandle(), request.activationToken.value_or(std::string()));
}

void RunningProgram::settle(const std::shared_ptr<Waiting>& waiting, bool waits)
{
    waiting->reply->accept();
    if (!waits || !waiting->reply->isWaitedFor())
        return;
    if (waiting->documents.empty()) {
        waiting->reply->finish();
        return;
    }
    waiting_.push_back(waiting);
    connect(waiting->reply.get(), &HandOverReply::abandoned, this, [this, gone = std::weak_ptr(waiting)] {
        std::erase_if(waiting_, [&](const auto& other) { return other == gone.lock(); });
    });
}

void RunningProgram::tabClosed(const Uuid& document)
{
    for (const auto& waiting : std::vector<std::shared_ptr<Waiting>>(waiting_)) {
        if (waiting->documents.erase(document) == 0 || !waiting->documents.empty())
            continue;
        waiting->reply->finish();
        std::erase(waiting_, waiting);
    }
}

}  // namespace penmark
