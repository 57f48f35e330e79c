// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QLineEdit>
#include <QStringList>

namespace penmark {

/// What was searched for since the program started, the newest last. Main thread.
class SearchHistory {
public:
    /// One that is there already becomes the newest; the oldest of more than `most` are forgotten.
    void add(const QString& query);
    const QStringList& queries() const { return queries_; }

private:
    static constexpr qsizetype most = 100;
    QStringList queries_;
};

/// The field for what is searched for. Up goes back through the history, Down forwards again and, where nothing newer
/// is, on to the results. Main thread.
class QueryField final : public QLineEdit {
    Q_OBJECT

public:
    /// The history outlives the field.
    explicit QueryField(SearchHistory& history);

    /// What stands here was searched for.
    void remember();

signals:
    void submitted(bool newWindow);
    void leftDownwards();

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void step(int steps);

    SearchHistory& history_;
    qsizetype back_ = 0;  // how many steps into the past the shown query is
    QString draft_;       // what stood here before
};

}  // namespace penmark
