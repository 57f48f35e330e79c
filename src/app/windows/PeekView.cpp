// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/windows/PeekView.h"

#include "app/appearance/Appearance.h"
#include "app/editor/EditorView.h"
#include "app/windows/DocumentWindow.h"
#include "app/windows/Program.h"
#include "storage/DocumentStore.h"

#include <QFrame>
#include <QKeyEvent>
#include <QVBoxLayout>
#include <memory>

namespace penmark {

namespace {

class Peek final : public QFrame {
public:
    Peek(DocumentWindow& window, Program& program, const std::string& text, const QString& title)
        : QFrame(&window, Qt::Popup), document_(std::make_unique<EditorDocument>(TextSnapshot(text)))
    {
        setAttribute(Qt::WA_DeleteOnClose);
        setFrameShape(QFrame::StyledPanel);
        auto* const layout = new QVBoxLayout(this);
        layout->setContentsMargins(1, 1, 1, 1);
        view_ = new EditorView(*document_, this);
        view_->setReadOnly(true);
        view_->setShowsLineNumbers(false);
        view_->setFrameShape(QFrame::NoFrame);
        view_->setColors(program.appearance().editorColors());
        view_->setAccessibleName(QObject::tr("Beginning of %1").arg(title));
        view_->setFocusPolicy(Qt::NoFocus);
        layout->addWidget(view_);
        resize(std::min(640, window.width() * 3 / 4), std::min(420, window.height() * 3 / 4));
        move(window.mapToGlobal(QPoint((window.width() - width()) / 2, (window.height() - height()) / 3)));
        show();
    }
    ~Peek() override { delete view_; }  // before what it shows

private:
    void keyPressEvent(QKeyEvent* event) override
    {
        event->accept();
        close();
    }

    std::unique_ptr<EditorDocument> document_;
    EditorView* view_;
};

}  // namespace

void openPeek(DocumentWindow& window, Program& program, const Uuid& document)
{
    const DocumentHeader* const header = program.documents().headers().find(document);
    const QString title = header ? QString::fromStdString(header->title) : QString();
    program.documents().library().read(
        &window,
        [document](RecoveryStore& store) {
            const DocumentStore documents(store);
            const auto record = documents.loadDocument(document);
            const auto head = record ? documents.loadHead(*record) : std::nullopt;
            return head ? ContentStore(store).previewText(head->contentHash) : std::string();
        },
        [&window, &program, title](const std::string& text) { new Peek(window, program, text, title); },
        [&window](const RecoveryError& error) { window.showMessage(QString::fromUtf8(error.what())); });
}

}  // namespace penmark
