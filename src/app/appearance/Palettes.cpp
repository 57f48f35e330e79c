// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/appearance/Appearance.h"
#include "app/editor/Colors.h"
#include "text/highlight/ColorScheme.h"

namespace penmark {

namespace {

/// What a palette is made from; all texts reach 4.5 : 1 on what is behind them.
struct Tones {
    Rgb window;
    Rgb base;
    Rgb alternate;
    Rgb button;
    Rgb text;
    Rgb quiet;  // placeholders
    Rgb disabled;
    Rgb accent;  // behind selected text
    Rgb link;
    Rgb light;  // edges, from the brightest to the darkest
    Rgb midlight;
    Rgb mid;
    Rgb dark;
    Rgb shadow;
    Rgb tip;
};

QPalette paletteOf(const Tones& tones)
{
    QPalette palette;
    const auto set = [&](QPalette::ColorRole role, Rgb color) { palette.setColor(role, toColor(color)); };
    set(QPalette::Window, tones.window);
    set(QPalette::WindowText, tones.text);
    set(QPalette::Base, tones.base);
    set(QPalette::AlternateBase, tones.alternate);
    set(QPalette::Text, tones.text);
    set(QPalette::PlaceholderText, tones.quiet);
    set(QPalette::Button, tones.button);
    set(QPalette::ButtonText, tones.text);
    set(QPalette::BrightText, Rgb(0xFFFFFF));
    set(QPalette::Highlight, tones.accent);
    set(QPalette::HighlightedText, Rgb(0xFFFFFF));
    set(QPalette::Link, tones.link);
    set(QPalette::LinkVisited, tones.link);
    set(QPalette::Light, tones.light);
    set(QPalette::Midlight, tones.midlight);
    set(QPalette::Mid, tones.mid);
    set(QPalette::Dark, tones.dark);
    set(QPalette::Shadow, tones.shadow);
    set(QPalette::ToolTipBase, tones.tip);
    set(QPalette::ToolTipText, tones.text);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText, QPalette::Link})
        palette.setColor(QPalette::Disabled, role, toColor(tones.disabled));
    palette.setColor(QPalette::Disabled, QPalette::Base, toColor(tones.window));
    palette.setColor(QPalette::Disabled, QPalette::Highlight, toColor(tones.mid));
    palette.setColor(QPalette::Disabled, QPalette::HighlightedText, toColor(tones.text));
    return palette;
}

}  // namespace

QPalette lightPalette()
{
    const ColorScheme& colors = lightColorScheme();
    return paletteOf({.window = Rgb(0xF4F5F7),
                      .base = colors.background,
                      .alternate = Rgb(0xF8F9FB),
                      .button = Rgb(0xFAFBFC),
                      .text = colors.text,
                      .quiet = Rgb(0x6A717B),
                      .disabled = Rgb(0x8C939D),
                      .accent = Rgb(0x2A66C0),
                      .link = colors.caret,
                      .light = Rgb(0xFFFFFF),
                      .midlight = Rgb(0xECEEF1),
                      .mid = Rgb(0xC8CDD4),
                      .dark = Rgb(0xA3AAB4),
                      .shadow = Rgb(0x6A717B),
                      .tip = Rgb(0xFFFFFF)});
}

QPalette darkPalette()
{
    const ColorScheme& colors = darkColorScheme();
    return paletteOf({.window = Rgb(0x272B30),
                      .base = colors.background,
                      .alternate = Rgb(0x22262A),
                      .button = Rgb(0x343940),
                      .text = colors.text,
                      .quiet = Rgb(0x99A1AC),
                      .disabled = Rgb(0x7D858F),
                      .accent = Rgb(0x2F65AD),
                      .link = colors.caret,
                      .light = Rgb(0x4A5059),
                      .midlight = Rgb(0x3E444C),
                      .mid = Rgb(0x4A515A),
                      .dark = Rgb(0x16181B),
                      .shadow = Rgb(0x0C0D0F),
                      .tip = Rgb(0x343940)});
}

}  // namespace penmark
