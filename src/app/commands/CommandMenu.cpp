// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/commands/CommandMenu.h"

#include <QAction>
#include <QMenu>
#include <QSet>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

namespace penmark {

namespace {

/// The entries of one menu, which live as long as it does.
class MenuEntries final : public QObject {
public:
    MenuEntries(QMenu& menu, std::span<const char* const> entries, CommandRegistry& registry, ContextProvider context)
        : QObject(&menu), menu_(menu), entries_(entries), registry_(registry), context_(std::move(context))
    {
        menu.setToolTipsVisible(true);
        connect(&menu, &QMenu::aboutToShow, this, [this] { bringUpToDate(); });
    }

private:
    void bringUpToDate()
    {
        if (!std::exchange(isFilled_, true))
            fill();
        const CommandContext context = context_();
        for (const auto& [action, command] : actions_) {
            const bool enabled = command->enabled(context);
            const QString reason = enabled ? QString() : command->reason(context);
            action->setEnabled(enabled);
            action->setChecked(command->checked(context));
            action->setToolTip(reason);
            action->setStatusTip(reason);
            const QList<QKeySequence> keys = registry_.shortcuts(command->id);
            const QString label = action->text().section(QLatin1Char('\t'), 0, 0);
            action->setText(keys.isEmpty() ? label
                                           : label + QLatin1Char('\t') + keys[0].toString(QKeySequence::NativeText));
        }
    }

    void fill()
    {
        bool separate = false;
        const auto place = [&](QAction* action) {
            if (std::exchange(separate, false) && !menu_.isEmpty())
                menu_.addSeparator();
            menu_.addAction(action);
        };
        for (const std::string_view entry : entries_) {
            if (entry == "-") {
                separate = true;
            } else if (entry.starts_with('>')) {
                const QString name = QString::fromUtf8(entry.data() + 1, static_cast<qsizetype>(entry.size()) - 1);
                if (auto* below = menu_.findChild<QMenu*>(name, Qt::FindDirectChildrenOnly))
                    place(below->menuAction());
            } else if (const Command* command = registry_.find(entry)) {
                place(actionOf(*command));
            }
        }
        assignMnemonics(menu_.actions());
    }

    QAction* actionOf(const Command& command)
    {
        QString label = command.name;
        auto* action = new QAction(label.replace(QLatin1Char('&'), QLatin1String("&&")), &menu_);
        action->setCheckable(static_cast<bool>(command.isChecked));
        connect(action, &QAction::triggered, this, [this, &command] {
            CommandContext context = context_();
            registry_.run(command, context);
        });
        actions_.emplace_back(action, &command);
        return action;
    }

    QMenu& menu_;
    std::span<const char* const> entries_;
    CommandRegistry& registry_;
    ContextProvider context_;
    std::vector<std::pair<QAction*, const Command*>> actions_;
    bool isFilled_ = false;
};

/// Where the mnemonic's "&" stands; "&&" is a sign of the text.
std::optional<qsizetype> mnemonicAt(const QString& label)
{
    for (qsizetype at = 0; at + 1 < label.size(); ++at) {
        if (label[at] != QLatin1Char('&'))
            continue;
        if (label[at + 1] != QLatin1Char('&'))
            return at;
        ++at;
    }
    return std::nullopt;
}

/// The places of letters in the order in which they are wanted: those that begin words first.
std::vector<qsizetype> candidates(const QString& label)
{
    std::vector<qsizetype> starts;
    std::vector<qsizetype> others;
    for (qsizetype at = 0; at < label.size() && label[at] != QLatin1Char('\t'); ++at) {
        if (!label[at].isLetterOrNumber())
            continue;
        (at == 0 || label[at - 1].isSpace() ? starts : others).push_back(at);
    }
    starts.insert(starts.end(), others.begin(), others.end());
    return starts;
}

}  // namespace

void fillMenu(QMenu& menu, std::span<const char* const> entries, CommandRegistry& registry, ContextProvider context)
{
    new MenuEntries(menu, entries, registry, std::move(context));
}

void assignMnemonics(const QList<QAction*>& actions)
{
    QSet<QChar> taken;
    for (const QAction* action : actions) {
        if (const auto at = mnemonicAt(action->text()))
            taken.insert(action->text()[*at + 1].toLower());
    }
    for (QAction* action : actions) {
        QString label = action->text();
        if (action->isSeparator() || mnemonicAt(label))
            continue;
        for (const qsizetype at : candidates(label)) {
            if (taken.contains(label[at].toLower()))
                continue;
            taken.insert(label[at].toLower());
            action->setText(label.insert(at, QLatin1Char('&')));
            break;
        }
    }
}

}  // namespace penmark
