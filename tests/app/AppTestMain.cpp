// SPDX-License-Identifier: GPL-3.0-or-later
#include <QApplication>
#include <QStandardPaths>

#include <gtest/gtest.h>

// Font libraries keep what they have read until the process ends, some of it out of reach.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions()
{
    return "leak:libfontconfig\nleak:libQt6XcbQpa\n";
}

int main(int count, char** arguments)
{
    testing::InitGoogleTest(&count, arguments);
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qputenv("QT_IM_MODULE", "none");
    qputenv("QT_STYLE_OVERRIDE", "Fusion");
    QStandardPaths::setTestModeEnabled(true);
    QApplication application(count, arguments);
    QApplication::setCursorFlashTime(0);  // a caret that blinks would make pictures differ
    return RUN_ALL_TESTS();
}
