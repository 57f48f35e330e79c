// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "organization/SessionCheckpoint.h"

#include <QWidget>
#include <optional>
#include <vector>

class QLabel;
class QLineEdit;
class QMenu;
class QToolButton;

namespace penmark {

class SessionActions;

/// Says which checkpoints hold a version, and renames, pins and removes them. Only those of a single document are
/// removed here: what else a checkpoint holds cannot be seen from a document. Hidden while there are none.
class CheckpointStrip final : public QWidget {
    Q_OBJECT

public:
    explicit CheckpointStrip(SessionActions& actions, QWidget* parent = nullptr);

    void setCheckpoints(const std::vector<CheckpointHeader>& checkpoints);
    void setPermitsChanges(bool permits);

private:
    void fillMenu();
    void fillMenu(QMenu& menu, const CheckpointHeader& checkpoint);
    void beginRenaming(const CheckpointHeader& checkpoint);
    void finishRenaming(bool takes);
    bool eventFilter(QObject* object, QEvent* event) override;

    SessionActions& actions_;  // outlives this object
    std::vector<CheckpointHeader> checkpoints_;
    std::optional<CheckpointHeader> renamed_;
    QLabel* label_;
    QLineEdit* name_;
    QToolButton* button_;
    QMenu* menu_;
};

}  // namespace penmark
