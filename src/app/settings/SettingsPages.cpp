// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/settings/SettingsPage.h"
#include "app/settings/SettingsWindow.h"
#include "text/highlight/EditorLanguage.h"

#include <QFile>
#include <QPushButton>

namespace penmark {

void SettingsWindow::addGeneral()
{
    auto* page = new SettingsPage(tr("General"), IconShape::settings, store_);
    page->addHeading(tr("Start"));
    page->addCheck(tr("Open the windows of last time"), &Settings::restoreWindows);
    page->addCheck(tr("Show the welcome strip"), &Settings::welcomeDismissed, true);
    page->addHeading(tr("Windows"));
    page->addCheck(tr("Show the menu bar"), &Settings::menuBarVisible);
    addPage(QStringLiteral("general"), page);
}

void SettingsWindow::addEditor()
{
    auto* page = new SettingsPage(tr("Editor"), IconShape::pencil, store_);
    page->addHeading(tr("Font"));
    page->addFont(tr("Family"), &Settings::fontFamily);
    page->addPoints(tr("Size"), &Settings::fontSize, 5, 96);
    page->addHeading(tr("Display"));
    page->addCheck(tr("Wrap long lines"), &Settings::wrap);
    page->addCheck(tr("Number the lines"), &Settings::lineNumbers);
    page->addCheck(tr("Show blanks and tabs"), &Settings::showBlanks);
    page->addNumber(tr("Margin line at column"), &Settings::rightMargin, 0, 1'000, {}, tr("None"));
    page->addHeading(tr("Indentation"));
    page->addCheck(tr("Take over the indentation that a file has"), &Settings::detectIndentation);
    page->addChoice<bool>(tr("Otherwise indent with"), &Settings::indentWithTabs,
                          {{tr("Blanks"), false}, {tr("Tabs"), true}});
    page->addNumber(tr("Width of an indentation"), &Settings::indentWidth, 1, 32, tr(" columns"));
    page->addNumber(tr("Width of a tab"), &Settings::tabWidth, 1, 32, tr(" columns"));
    addPage(QStringLiteral("editor"), page);
}

void SettingsWindow::addAppearance()
{
    auto* page = new SettingsPage(tr("Appearance"), IconShape::appearance, store_);
    page->addChoice<AppearanceChoice>(tr("Colours"), &Settings::appearance,
                                      {{tr("As the desktop has them"), AppearanceChoice::system},
                                       {tr("Light"), AppearanceChoice::light},
                                       {tr("Dark"), AppearanceChoice::dark}});
    addPage(QStringLiteral("appearance"), page);
}

void SettingsWindow::addFiles()
{
    auto* page = new SettingsPage(tr("Files"), IconShape::document, store_);
    page->addHeading(tr("Files that are open"));
    page->addCheck(tr("Notice when another program changes them"), &Settings::watchOriginals);
    page->addHeading(tr("New documents"));
    page->addChoice<LineEndChoice>(
        tr("Line ends"), &Settings::newLineEnd,
        {{tr("LF (Linux, macOS)"), LineEndChoice::lf}, {tr("CRLF (Windows)"), LineEndChoice::crlf}});
    page->addChoice<RecoveryEncoding>(tr("Encoding"), &Settings::newEncoding,
                                      {{tr("UTF-8"), RecoveryEncoding::utf8},
                                       {tr("UTF-8 with byte-order mark"), RecoveryEncoding::utf8BOM},
                                       {tr("UTF-16, little-endian"), RecoveryEncoding::utf16LE},
                                       {tr("UTF-16, big-endian"), RecoveryEncoding::utf16BE}});
    std::vector<std::pair<QString, std::string>> languages;
    for (const EditorLanguage language : editorLanguages()) {
        const std::string word(name(language));
        languages.emplace_back(QString::fromStdString(word), word);
    }
    page->addChoice<std::string>(tr("Language"), &Settings::newLanguage, languages);
    addPage(QStringLiteral("files"), page);
}

void SettingsWindow::addLibrary(const QString& folder)
{
    auto* page = new SettingsPage(tr("Library"), IconShape::library, store_);
    page->addText(tr("Everything you type is kept here, also what was never saved as a file:"));
    page->addText(folder);
    auto* show = new QPushButton(icon(IconShape::folder), tr("Show in Files"));
    show->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
    connect(show, &QPushButton::clicked, this, [this, folder] { emit showInFiles(folder); });
    page->addWidget(show);
    addPage(QStringLiteral("library"), page);
}

void SettingsWindow::addPrivacy(const QString& folder)
{
    auto* page = new SettingsPage(tr("Privacy"), IconShape::privacy, store_);
    page->addHeading(tr("What is stored where"));
    page->addText(tr("Your texts, with all their earlier versions and the windows they were in:\n%1").arg(folder));
    page->addText(tr("These settings:\n%1").arg(QFile::decodeName(store_.path().c_str())));
    page->addText(tr("A file you open is read. It is written only when you save."));
    page->addHeading(tr("What leaves this computer"));
    page->addText(tr("Nothing. Penmark counts nothing, reports nothing and never asks anybody whether there is a "
                     "newer version."));
    addPage(QStringLiteral("privacy"), page);
}

}  // namespace penmark
