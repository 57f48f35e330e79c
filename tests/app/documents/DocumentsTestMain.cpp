// SPDX-License-Identifier: GPL-3.0-or-later
#include <QCoreApplication>
#include <QStandardPaths>

#include <gtest/gtest.h>

// What these tests are about needs an event loop and nothing that is drawn.
int main(int count, char** arguments)
{
    testing::InitGoogleTest(&count, arguments);
    QStandardPaths::setTestModeEnabled(true);
    QCoreApplication application(count, arguments);
    return RUN_ALL_TESTS();
}
