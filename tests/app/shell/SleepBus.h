// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <QProcess>

namespace penmark {

/// A bus of its own with a manager of sleep on it.
class SleepBus : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.login1.Manager")

public:
    SleepBus();
    ~SleepBus() override;

    /// For the side that is tested.
    QDBusConnection client() const { return client_; }

    QStringList inhibitions;  ///< the arguments of each call, joined

    /// Whether somebody still holds the inhibitor that was granted last.
    bool isInhibited() const;

public slots:
    QDBusUnixFileDescriptor Inhibit(const QString& what, const QString& who, const QString& why, const QString& mode);

signals:
    void PrepareForSleep(bool isAhead);

private:
    QProcess daemon_;
    QDBusConnection own_;
    QDBusConnection client_;
    int readEnd_ = -1;
};

}  // namespace penmark
