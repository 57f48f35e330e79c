// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QObject>
#include <QStringList>

namespace penmark {

/// What was copied while the program ran, the latest first; never stored. Passwords that their manager marks as such,
/// and texts of more than a megabyte, are left out.
class ClipboardHistory final : public QObject {
    Q_OBJECT

public:
    static constexpr int entries = 20;

    explicit ClipboardHistory(QObject* parent = nullptr);
    const QStringList& texts() const { return texts_; }

private:
    void take();

    QStringList texts_;
};

}  // namespace penmark
