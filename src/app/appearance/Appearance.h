// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "app/appearance/AppearanceChoice.h"

#include <QObject>
#include <QPalette>
#include <QString>

class QDBusMessage;
class QDBusPendingCallWatcher;

namespace penmark {

struct ColorScheme;

QPalette lightPalette();
QPalette darkPalette();

/// How the program looks: style and palette of its windows and the colours of its texts, light or dark.
///
/// Where the desktop brings a style or palette of its own, "system" leaves them as they are. Elsewhere, and for "light"
/// and "dark", the program has its own two palettes. One object, made behind the QApplication. Threads: the window's.
class Appearance final : public QObject {
    Q_OBJECT

public:
    explicit Appearance(QObject* parent = nullptr);
    ~Appearance() override;

    /// `lastSystemDark` is what the desktop said last time; it counts until followDesktop() has an answer.
    void apply(AppearanceChoice choice, bool lastSystemDark);
    /// Asks the desktop, without waiting, and follows its preference from then on. To be called once the first frame is
    /// shown, since it connects to the session bus.
    void followDesktop();

    AppearanceChoice choice() const { return choice_; }
    bool isDark() const { return isDark_; }
    const ColorScheme& editorColors() const;

    /// What org.freedesktop.appearance color-scheme says. Public for tests; followDesktop() calls it.
    void setSystemDark(bool dark);

signals:
    void changed();
    void systemDarkChanged(bool dark);  ///< to be remembered for the next start

private slots:
    void portalAnswered(QDBusPendingCallWatcher* call);
    void portalChanged(const QDBusMessage& message);

private:
    void update();
    bool eventFilter(QObject* object, QEvent* event) override;

    QString desktopStyle_;  // its name
    bool desktopHasLook_ = false;
    AppearanceChoice choice_ = AppearanceChoice::system;
    bool systemDark_ = false;
    bool isDark_ = false;
    bool isOurs_ = false;  // style and palette
    bool updating_ = false;
    bool follows_ = false;
};

}  // namespace penmark
