// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/shell/HandOverReply.h"
#include "app/shell/HandOverServer.h"
#include "app/shell/SuspendWatcher.h"
#include "app/shell/TerminationSignals.h"
#include "app/windows/Program.h"
#include "storage/RecoveryEncoding.h"

#include <QObject>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace penmark {

/// What connects the program with the rest of the computer: later starts that hand their files over, signals that ask
/// it to end, and the computer's sleep.
class RunningProgram final : public QObject {
    Q_OBJECT

public:
    explicit RunningProgram(Program& program);
    ~RunningProgram() override;

    /// A draft with what came from standard input. Returns why not if that is no text.
    std::optional<std::string> openStandardInput(const std::string& bytes, const std::optional<std::string>& title,
                                                 DocumentWindow& window);
    /// Behind the first frame.
    void start();

private:
    struct Waiting {
        std::set<Uuid> documents;
        std::shared_ptr<HandOverReply> reply;
    };

    void takeOver(const HandOverRequest& request, const std::shared_ptr<HandOverReply>& reply);
    Uuid openDraft(DecodedText input, const std::optional<std::string>& title, DocumentWindow& window);
    void settle(const std::shared_ptr<Waiting>& waiting, bool waits);
    void tabClosed(const Uuid& document);

    Program& program_;  // outlives this object
    TerminationSignals signals_;
    std::unique_ptr<HandOverServer> server_;
    SuspendWatcher suspend_;
    std::vector<std::shared_ptr<Waiting>> waiting_;
};

}  // namespace penmark
