// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/sessions/NamePrompt.h"

#include <QDialog>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

namespace penmark {

void NamePrompt::ask(QWidget* parent, const QString& title, const QString& label, const QString& placeholder,
                     const QString& proposal, const QString& okText, std::function<void(QString)> taken)
{
    auto* const dialog = new QDialog(parent);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setWindowTitle(title);
    auto* const line = new QLineEdit(proposal);
    line->setPlaceholderText(placeholder);
    line->setAccessibleName(label);
    line->setMinimumWidth(line->fontMetrics().averageCharWidth() * 44);
    line->selectAll();
    auto* const text = new QLabel(label);
    text->setTextFormat(Qt::PlainText);
    text->setWordWrap(true);
    text->setBuddy(line);
    auto* const buttons = new QDialogButtonBox(QDialogButtonBox::Cancel);
    QPushButton* const take = buttons->addButton(okText, QDialogButtonBox::AcceptRole);
    auto* const layout = new QVBoxLayout(dialog);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addWidget(text);
    layout->addWidget(line);
    layout->addSpacing(6);
    layout->addWidget(buttons);
    QObject::connect(buttons, &QDialogButtonBox::accepted, dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    QObject::connect(dialog, &QDialog::accepted, dialog,
                     [line, taken = std::move(taken)] { taken(line->text().trimmed()); });
    take->setDefault(true);  // in the dialog by now, else Cancel would be
    line->setFocus();
    dialog->open();
}

}  // namespace penmark
