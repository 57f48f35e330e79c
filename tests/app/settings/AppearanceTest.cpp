// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/appearance/Appearance.h"

#include "app/appearance/Icon.h"
#include "app/editor/Colors.h"
#include "text/highlight/ColorScheme.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QProcess>
#include <QSignalSpy>

#include <gtest/gtest.h>

namespace penmark {
namespace {

double contrastOf(const QPalette& palette, QPalette::ColorRole text, QPalette::ColorRole behind)
{
    return contrast(Rgb(palette.color(text).rgb()), Rgb(palette.color(behind).rgb()));
}

/// Each test begins with the desktop's look: here, none of its own.
class AppearanceTest : public testing::Test {
protected:
    AppearanceTest()
    {
        QApplication::setStyle(QStringLiteral("fusion"));
        QApplication::setPalette(QPalette());
    }
};

TEST_F(AppearanceTest, TextCanBeReadInBothPalettes)
{
    for (const QPalette& palette : {lightPalette(), darkPalette()}) {
        using P = QPalette;
        const std::pair<P::ColorRole, P::ColorRole> pairs[] = {
            {P::WindowText, P::Window},
            {P::Text, P::Base},
            {P::Text, P::AlternateBase},
            {P::ButtonText, P::Button},
            {P::ToolTipText, P::ToolTipBase},
            {P::HighlightedText, P::Highlight},
            {P::PlaceholderText, P::Base},
            {P::Link, P::Base},
            {P::Link, P::Window},
        };
        for (const auto& [text, behind] : pairs)
            EXPECT_GE(contrastOf(palette, text, behind), 4.5) << text << " on " << behind;
    }
}

TEST_F(AppearanceTest, FollowsTheChoiceAndTheDesktop)
{
    Appearance appearance;
    const QSignalSpy changed(&appearance, &Appearance::changed);
    const QSignalSpy noted(&appearance, &Appearance::systemDarkChanged);
    appearance.apply(AppearanceChoice::system, true);
    EXPECT_TRUE(appearance.isDark()) << "as the desktop was last time";
    EXPECT_EQ(QApplication::palette().color(QPalette::Base), toColor(darkColorScheme().background));
    EXPECT_EQ(&appearance.editorColors(), &darkColorScheme());
    appearance.apply(AppearanceChoice::light, true);
    EXPECT_FALSE(appearance.isDark());
    EXPECT_EQ(QApplication::palette().color(QPalette::Base), toColor(lightColorScheme().background));
    appearance.setSystemDark(true);
    EXPECT_FALSE(appearance.isDark()) << "the user has chosen";
    EXPECT_TRUE(noted.isEmpty()) << "that was known";
    appearance.setSystemDark(false);
    EXPECT_EQ(noted.size(), 1);
    const auto changes = changed.size();
    appearance.apply(AppearanceChoice::system, true);
    EXPECT_FALSE(appearance.isDark()) << "the desktop's answer counts more than what it said last time";
    appearance.setSystemDark(true);
    EXPECT_TRUE(appearance.isDark());
    EXPECT_EQ(changed.size(), changes + 1);
    appearance.apply(AppearanceChoice::light, false);
}

/// The desktop's service, on a bus of its own.
class Portal final : public QDBusVirtualObject {
public:
    explicit Portal(unsigned colorScheme) : colorScheme_(colorScheme) {}

    QString introspect(const QString&) const override { return {}; }
    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        if (message.member() != QLatin1String("Read") ||
            message.arguments() !=
                QVariantList{QStringLiteral("org.freedesktop.appearance"), QStringLiteral("color-scheme")})
            return false;
        // Wrapped twice, as the service does.
        const QDBusVariant inner{QVariant(colorScheme_)};
        connection.send(message.createReply(QVariant::fromValue(QDBusVariant(QVariant::fromValue(inner)))));
        return true;
    }

private:
    unsigned colorScheme_;
};

TEST_F(AppearanceTest, AsksTheDesktopAndFollowsIt)
{
    QProcess daemon;
    daemon.start(QStringLiteral("dbus-daemon"),
                 {QStringLiteral("--session"), QStringLiteral("--nofork"), QStringLiteral("--print-address")});
    if (!daemon.waitForStarted())
        GTEST_SKIP() << "there is no dbus-daemon";
    ASSERT_TRUE(daemon.waitForReadyRead());
    const QByteArray address = daemon.readLine().trimmed();
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    QDBusConnection bus = QDBusConnection::connectToBus(QString::fromLatin1(address), QStringLiteral("desktop"));
    Portal portal(1);
    const QString path = QStringLiteral("/org/freedesktop/portal/desktop");
    ASSERT_TRUE(bus.registerVirtualObject(path, &portal));
    ASSERT_TRUE(bus.registerService(QStringLiteral("org.freedesktop.portal.Desktop")));

    Appearance appearance;
    appearance.apply(AppearanceChoice::system, false);
    QSignalSpy noted(&appearance, &Appearance::systemDarkChanged);
    appearance.followDesktop();
    EXPECT_FALSE(appearance.isDark()) << "it does not wait";
    ASSERT_TRUE(noted.wait());
    EXPECT_TRUE(appearance.isDark());
    const auto say = [&](const QString& group, unsigned value) {
        QDBusMessage change = QDBusMessage::createSignal(path, QStringLiteral("org.freedesktop.portal.Settings"),
                                                         QStringLiteral("SettingChanged"));
        change.setArguments(
            {group, QStringLiteral("color-scheme"), QVariant::fromValue(QDBusVariant(QVariant(value)))});
        bus.send(change);
    };
    say(QStringLiteral("org.example.other"), 0);
    say(QStringLiteral("org.freedesktop.appearance"), 0);
    ASSERT_TRUE(noted.wait());
    EXPECT_FALSE(appearance.isDark());
    EXPECT_EQ(noted.size(), 2);
    QDBusConnection::disconnectFromBus(QStringLiteral("desktop"));
    daemon.kill();
    daemon.waitForFinished();
}

TEST_F(AppearanceTest, IconsAreDrawnInTheColourOfText)
{
    Appearance appearance;
    for (const bool dark : {false, true}) {
        appearance.apply(dark ? AppearanceChoice::dark : AppearanceChoice::light, false);
        const QRgb text = QApplication::palette().color(QPalette::WindowText).rgb();
        for (int shape = 0; shape <= static_cast<int>(IconShape::warning); ++shape) {
            const QImage image = icon(static_cast<IconShape>(shape)).pixmap(32).toImage();
            int drawn = 0;
            for (int y = 0; y < image.height(); ++y) {
                for (int x = 0; x < image.width(); ++x)
                    drawn += qAlpha(image.pixel(x, y)) > 250 && (image.pixel(x, y) & 0xFFFFFF) == (text & 0xFFFFFF);
            }
            EXPECT_GT(drawn, 5) << shape;
            EXPECT_LT(drawn, 600) << shape;
        }
    }
    appearance.apply(AppearanceChoice::light, false);
}

}  // namespace
}  // namespace penmark
