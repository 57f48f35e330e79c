// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/LibrarySection.h"

namespace penmark {

/// Windows and tabs that were closed one by one, the latest first.
class ClosedSection final : public LibrarySection {
    Q_OBJECT

public:
    explicit ClosedSection(const SectionContext& context, QObject* parent = nullptr) : LibrarySection(context, parent)
    {}

    QString word() const override { return QStringLiteral("recentlyClosed"); }
    QString heading() const override { return tr("Recently Closed"); }
    int rowCount() const override { return hasMessage_ ? 1 : static_cast<int>(rows_.size()); }
    int count() const override;
    QString countText() const override;
    NavigatorRow row(int row) const override;

    bool activate(const Rows& rows, Activation how) override;
    bool remove(const Rows& rows) override;
    void fillMenu(QMenu& menu, const Rows& rows) override;

private:
    using Item = std::shared_ptr<const ClosedPenmarkItem>;

    void rebuild() override;
    void setMessage(bool has);
    std::vector<Uuid> idsOf(const Rows& rows) const;
    QString titleOf(const ClosedPenmarkItem& item) const;

    std::vector<Item> rows_;
    bool hasMessage_ = false;  // in place of rows
};

}  // namespace penmark
