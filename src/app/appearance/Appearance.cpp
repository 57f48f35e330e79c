// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/appearance/Appearance.h"

#include "app/appearance/QuietStyle.h"
#include "text/highlight/ColorScheme.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QEvent>
#include <QStyle>
#include <QStyleFactory>
#include <utility>

namespace penmark {

namespace {

constexpr QLatin1String portalService("org.freedesktop.portal.Desktop");
constexpr QLatin1String portalPath("/org/freedesktop/portal/desktop");
constexpr QLatin1String portalInterface("org.freedesktop.portal.Settings");
constexpr QLatin1String appearanceGroup("org.freedesktop.appearance");
constexpr QLatin1String colorSchemeKey("color-scheme");
constexpr QLatin1String ownStyle("fusion");

/// 0: no preference, 1: dark, 2: light. Wrapped once or twice, depending on the call and the portal's age.
bool saysDark(QVariant value)
{
    while (value.canConvert<QDBusVariant>())
        value = value.value<QDBusVariant>().variant();
    return value.toUInt() == 1;
}

}  // namespace

Appearance::Appearance(QObject* parent) : QObject(parent), desktopStyle_(QApplication::style()->objectName())
{
    // A palette that differs from the style's own comes from the desktop, by way of its platform theme.
    const QPalette desktop = QGuiApplication::palette();
    const QPalette plain = QApplication::style()->standardPalette();
    const auto differs = [&](QPalette::ColorRole role) { return desktop.color(role) != plain.color(role); };
    desktopHasLook_ = desktopStyle_.compare(ownStyle, Qt::CaseInsensitive) != 0 || differs(QPalette::Window) ||
                      differs(QPalette::WindowText) || differs(QPalette::Base);
    qApp->installEventFilter(this);
}

Appearance::~Appearance() = default;

void Appearance::apply(AppearanceChoice choice, bool lastSystemDark)
{
    choice_ = choice;
    if (!follows_)
        systemDark_ = lastSystemDark;
    update();
}

void Appearance::setSystemDark(bool dark)
{
    follows_ = true;
    const bool isNews = std::exchange(systemDark_, dark) != dark;
    update();
    if (isNews)
        emit systemDarkChanged(dark);
}

void Appearance::update()
{
    const bool ours = choice_ != AppearanceChoice::system || !desktopHasLook_;
    const bool wasOurs = std::exchange(isOurs_, ours);
    const bool wasDark = isDark_;
    updating_ = true;
    if (ours) {
        isDark_ = choice_ == AppearanceChoice::system ? systemDark_ : choice_ == AppearanceChoice::dark;
        if (!wasOurs)
            QApplication::setStyle(new QuietStyle);
        if (!wasOurs || isDark_ != wasDark)
            QApplication::setPalette(isDark_ ? darkPalette() : lightPalette());
    } else {
        if (wasOurs) {
            QApplication::setStyle(QStyleFactory::create(desktopStyle_));
            QApplication::setPalette(QPalette());  // the desktop's again
        }
        const QPalette desktop = QGuiApplication::palette();
        isDark_ = desktop.color(QPalette::Window).lightness() < desktop.color(QPalette::WindowText).lightness();
    }
    updating_ = false;
    if (isDark_ != wasDark || ours != wasOurs)
        emit changed();
}

// Desktops change their palette while programs run.
bool Appearance::eventFilter(QObject* object, QEvent* event)
{
    if (object == qApp && event->type() == QEvent::ApplicationPaletteChange && !updating_ && !isOurs_ &&
        desktopHasLook_)
        update();
    return false;
}

const ColorScheme& Appearance::editorColors() const
{
    return isDark_ ? darkColorScheme() : lightColorScheme();
}

void Appearance::followDesktop()
{
    QDBusConnection bus = QDBusConnection::sessionBus();
    if (!bus.isConnected())
        return;
    bus.connect(portalService, portalPath, portalInterface, QStringLiteral("SettingChanged"), this,
                SLOT(portalChanged(QDBusMessage)));
    QDBusMessage question =
        QDBusMessage::createMethodCall(portalService, portalPath, portalInterface, QStringLiteral("Read"));
    question.setArguments({QString(appearanceGroup), QString(colorSchemeKey)});
    auto* call = new QDBusPendingCallWatcher(bus.asyncCall(question), this);
    connect(call, &QDBusPendingCallWatcher::finished, this, &Appearance::portalAnswered);
}

void Appearance::portalAnswered(QDBusPendingCallWatcher* call)
{
    call->deleteLater();
    const QDBusPendingReply<QDBusVariant> reply = *call;
    // A desktop without a portal, or without an opinion, leaves what was known.
    if (!reply.isError())
        setSystemDark(saysDark(reply.value().variant()));
}

// The whole message, since a slot with parameters of its own is refused until the bus knows how to read a variant.
void Appearance::portalChanged(const QDBusMessage& message)
{
    const QVariantList told = message.arguments();
    if (told.size() == 3 && told[0] == appearanceGroup && told[1] == colorSchemeKey)
        setSystemDark(saysDark(told[2]));
}

}  // namespace penmark
