// SPDX-License-Identifier: GPL-3.0-or-later
// What the program opens and saves, and what was closed.
#include "app/appearance/Appearance.h"
#include "app/commands/CommandRegistry.h"
#include "app/documents/Rescue.h"
#include "app/editor/EditorView.h"
#include "app/editor/Strings.h"
#include "app/navigator/PreviewSource.h"
#include "app/settings/KeysPage.h"
#include "app/settings/SettingsStore.h"
#include "app/settings/SettingsWindow.h"
#include "app/windows/ClipboardHistory.h"
#include "app/windows/DocumentPane.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/MessageBar.h"
#include "app/windows/Program.h"
#include "app/windows/ProgramSessions.h"
#include "base/Utf8.h"
#include "storage/DocumentStore.h"

#include <QApplication>
#include <QDesktopServices>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QSysInfo>
#include <algorithm>
#include <set>
#include <span>

namespace penmark {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t recentFilesShown = 15;

}  // namespace

void Program::showOpened(RecoveryBuffer& buffer, const OpenRequest& request, DocumentWindow& window)
{
    // Where it is shown already it comes to the front there.
    DocumentWindow* shownIn = &window;
    for (DocumentWindow* other : windows_) {
        if (!window.tabs().contains(buffer.id()) && other->tabs().contains(buffer.id()))
            shownIn = other;
    }
    if (shownIn->isHidden())  // beside a workspace in focus
        endFocus();
    shownIn->showDocument(buffer.id());
    shownIn->goTo(buffer.id(), request.line, request.column);
    if (shownIn != &window)
        bringToFront(*shownIn);
    if (buffer.record().externalPath)
        noteRecent(*buffer.record().externalPath);
}

void Program::open(const std::vector<OpenRequest>& requests, DocumentWindow& window,
                   std::function<void(const Uuid&)> opened, std::function<void(const FileRefusal&)> refused)
{
    for (const OpenRequest& request : requests) {
        const QPointer<DocumentWindow> alive(&window);
        const std::stop_source stop = window.beginOpening(request.file);
        // Nothing comes back from an opening that is stopped, so that who waits for it hears of it here.
        std::shared_ptr<void> whenStopped;
        if (refused) {
            const auto tell = [refused, file = request.file] {
                refused({file, tr("Opening was cancelled.").toStdString(), std::nullopt, false, {}});
            };
            whenStopped = std::make_shared<std::stop_callback<decltype(tell)>>(stop.get_token(), tell);
        }
        files_->open(
            request.file, this,
            [this, request, alive, opened, stop, whenStopped](RecoveryBuffer& buffer) {
                DocumentWindow& target = alive ? *alive : frontWindow();
                target.endOpening(stop);
                showOpened(buffer, request, target);
                if (opened)
                    opened(buffer.id());
            },
            [this, alive, refused, stop, whenStopped](const FileRefusal& refusal) {
                DocumentWindow& target = alive ? *alive : frontWindow();
                target.endOpening(stop);
                if (refusal.isFolder)
                    showFolder(refusal.file);
                else
                    target.showRefusal(refusal);
                if (refused)
                    refused(refusal);
            },
            stop.get_token());
    }
}

void Program::openDropped(const QList<QUrl>& urls, DocumentWindow& window)
{
    std::vector<OpenRequest> requests;
    for (const QUrl& url : urls) {
        if (!url.isLocalFile())
            continue;
        // The bytes as they are: a name of a file need not be UTF-8.
        const fs::path file(QByteArray::fromPercentEncoding(url.path(QUrl::FullyEncoded).toLatin1()).toStdString());
        const QString host = url.host();
        const bool isHere = host.isEmpty() || host == QLatin1String("localhost") ||
                            host.compare(QSysInfo::machineHostName(), Qt::CaseInsensitive) == 0;
        std::error_code error;
        if (isHere && fs::status(file, error).type() != fs::file_type::not_found)
            requests.push_back({file});
        else
            window.showBar(tr("There is no file “%1” any more.").arg(toQString(repairUtf8(file.native()))),
                           DocumentMessage::Weight::warning, {});
    }
    open(requests, window);
}

void Program::showFolder(const fs::path& folder)
{
    sessions_->addProject(folder);
}

void Program::fileMoved(const fs::path& from, const fs::path& to)
{
    const std::string& old = from.native();
    std::vector<std::pair<Uuid, fs::path>> moved;
    for (const DocumentHeader& header : documents_->headers().all()) {
        if (header.deleted || !header.path.starts_with(old))
            continue;
        const std::string rest = header.path.substr(old.size());
        if (rest.empty() || rest.front() == '/')
            moved.emplace_back(header.id, to.native() + rest);
    }
    for (const auto& [document, path] : moved)
        documents_->load(document, this, [this, path = path](RecoveryBuffer& buffer) { files_->locate(buffer, path); });
}

void Program::noteRecent(const std::string& path)
{
    std::erase(noted_, path);
    noted_.insert(noted_.begin(), path);
}

std::vector<std::string> Program::recentFiles() const
{
    std::vector<const DocumentHeader*> bound;
    for (const DocumentHeader& header : documents_->headers().all()) {
        if (!header.path.empty() && !header.deleted &&
            std::find(noted_.begin(), noted_.end(), header.path) == noted_.end())
            bound.push_back(&header);
    }
    const auto shown = static_cast<std::ptrdiff_t>(std::min(recentFilesShown, bound.size()));
    std::partial_sort(bound.begin(), bound.begin() + shown, bound.end(),
                      [](const auto* left, const auto* right) { return left->updatedAt > right->updatedAt; });
    std::vector<std::string> paths(
        noted_.begin(), noted_.begin() + static_cast<std::ptrdiff_t>(std::min(recentFilesShown, noted_.size())));
    for (auto header = bound.begin(); header != bound.begin() + shown && paths.size() < recentFilesShown; ++header)
        paths.push_back((*header)->path);
    return paths;
}

void Program::saveAll()
{
    const auto save = [this](RecoveryBuffer& buffer) {
        if (!buffer.isDraft() && !buffer.fileMatchesSavedVersion())
            files_->save(buffer);
    };
    for (RecoveryBuffer* buffer : documents_->buffers())
        save(*buffer);
    std::set<Uuid> unread;
    for (const DocumentWindow* window : windows_) {
        for (const Uuid& document : window->tabs().documents()) {
            const DocumentHeader* const header = documents_->headers().find(document);
            if (header && !header->path.empty() && !header->deleted && !documents_->find(document))
                unread.insert(document);
        }
    }
    for (const Uuid& document : unread)
        documents_->load(document, this, save);
}

}  // namespace penmark
