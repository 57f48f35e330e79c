// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/navigator/LibrarySection.h"

#include <memory>
#include <set>

namespace penmark {

/// The sessions as a tree: those nested in one, its windows and their tabs stand below it once it is expanded. A filter
/// shows what matches and what holds it.
class SessionSection final : public LibrarySection {
    Q_OBJECT

public:
    explicit SessionSection(const SectionContext& context, QObject* parent = nullptr) : LibrarySection(context, parent)
    {}

    QString word() const override { return QStringLiteral("sessions"); }
    QString heading() const override { return tr("Sessions"); }
    int rowCount() const override { return static_cast<int>(rows_.size()); }
    int count() const override;
    QString countText() const override;
    NavigatorRow row(int row) const override;
    void setExpanded(int row, bool isExpanded) override;

    bool activate(const Rows& rows, Activation how) override;
    bool rename(int row, const QString& name) override;
    bool remove(const Rows& rows) override;
    void fillMenu(QMenu& menu, const Rows& rows) override;
    void drag(int row, DraggedRows& dragged) const override;
    bool canDrop(const DraggedRows& dragged, int row) const override;
    void drop(const DraggedRows& dragged, int row) override;

private:
    using Session = std::shared_ptr<const PenmarkSession>;
    enum class Kind : std::uint8_t { session, window, tab, message };
    struct Node {
        Session session;  // which holds the window
        Uuid window;      // of windows and tabs
        Uuid document;    // of tabs
        Kind kind = Kind::session;
        std::uint8_t depth = 0;
        bool isExpandable = false;
        bool isExpanded = false;
        bool isActive = false;

        bool isSame(const Node& other) const
        {
            return kind == other.kind && depth == other.depth && document == other.document && window == other.window &&
                   (kind == Kind::message || session->id == other.session->id);
        }
        friend bool operator==(const Node&, const Node&) = default;
    };
    class Builder;

    void rebuild() override;
    const Node& at(int row) const { return rows_[static_cast<std::size_t>(row)]; }
    const RecoveryWindow* windowOf(const Node& node) const;
    void describe(const Node& node, NavigatorRow& row) const;
    void fillSessionMenu(QMenu& menu, int row);
    void fillPartMenu(QMenu& menu, const Node& node);
    void askToDelete(const PenmarkSession& session);

    std::vector<Node> rows_;
    std::set<Uuid> expanded_;  // sessions and windows
    std::set<Uuid> folded_;    // against the filter, which expands what holds matches
    FilterWords foldedFor_;
    int matches_ = 0;  // sessions
};

}  // namespace penmark
