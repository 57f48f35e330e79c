// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/shell/WindowActivation.h"

#include <QGuiApplication>
#include <QWindow>
#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <memory>
#include <string_view>

#include <xcb/xcb.h>

namespace penmark {

namespace {

xcb_atom_t atom(xcb_connection_t* connection, std::string_view name)
{
    const auto cookie = xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(connection, cookie, nullptr), &std::free);
    return reply ? reply->atom : static_cast<xcb_atom_t>(XCB_ATOM_NONE);
}

// Of the moment at which the user acted, in the X server's milliseconds: the end of the token, as in "…_TIME1234".
std::uint32_t timeIn(std::string_view token)
{
    constexpr std::string_view mark = "_TIME";
    std::uint32_t time = 0;
    if (const auto at = token.rfind(mark); at != std::string_view::npos)
        std::from_chars(token.data() + at + mark.size(), token.data() + token.size(), time);
    return time;
}

void sendToRoot(xcb_connection_t* connection, xcb_window_t root, const xcb_client_message_event_t& event,
                std::uint32_t mask)
{
    xcb_send_event(connection, 0, root, mask, reinterpret_cast<const char*>(&event));
}

// The request of an application that the user asked for, at that time; the window manager weighs it against the time
// of the last key press elsewhere.
void requestFocus(xcb_connection_t* connection, xcb_window_t root, xcb_window_t window, std::uint32_t time)
{
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 32;
    event.window = window;
    event.type = atom(connection, "_NET_ACTIVE_WINDOW");
    event.data.data32[0] = 1;
    event.data.data32[1] = time;
    sendToRoot(connection, root, event, XCB_EVENT_MASK_SUBSTRUCTURE_NOTIFY | XCB_EVENT_MASK_SUBSTRUCTURE_REDIRECT);
}

// Says that the start which the user is shown as under way is done. The text goes out in pieces of 20 bytes and ends
// with a zero.
void endStartupNotice(xcb_connection_t* connection, xcb_window_t root, xcb_window_t window, std::string_view token)
{
    std::string text = "remove: ID=\"";
    for (const char c : token) {
        if (c == '"' || c == '\\')
            text += '\\';
        text += c;
    }
    text += '"';
    text += '\0';
    xcb_client_message_event_t event{};
    event.response_type = XCB_CLIENT_MESSAGE;
    event.format = 8;
    event.window = window;
    event.type = atom(connection, "_NET_STARTUP_INFO_BEGIN");
    for (std::size_t at = 0; at < text.size(); at += sizeof event.data.data8) {
        std::fill(std::begin(event.data.data8), std::end(event.data.data8), std::uint8_t{0});
        const std::string_view piece = std::string_view(text).substr(at, sizeof event.data.data8);
        std::copy(piece.begin(), piece.end(), std::begin(event.data.data8));
        sendToRoot(connection, root, event, XCB_EVENT_MASK_PROPERTY_CHANGE);
        event.type = atom(connection, "_NET_STARTUP_INFO");
    }
}

void activateOnX11(xcb_connection_t* connection, xcb_window_t window, std::string_view token)
{
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    if (const std::uint32_t time = timeIn(token); time != 0)
        requestFocus(connection, root, window, time);
    endStartupNotice(connection, root, window, token);
    xcb_flush(connection);
}

}  // namespace

void activateWindow(QWindow& window, const std::string& token)
{
    window.setWindowStates(window.windowStates() & ~Qt::WindowMinimized);
    window.raise();
    constexpr std::size_t longest = 4096;  // a token comes from another process
    if (token.empty() || token.size() > longest) {
        window.requestActivate();
        return;
    }
    if (QGuiApplication::platformName() == QLatin1String("xcb")) {
        window.requestActivate();
        if (const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>())
            activateOnX11(x11->connection(), static_cast<xcb_window_t>(window.winId()), token);
        return;
    }
    // On Wayland the toolkit takes the token from the environment, where programs started later must not find it.
    constexpr auto variable = "XDG_ACTIVATION_TOKEN";
    qputenv(variable, QByteArray::fromStdString(token));
    window.requestActivate();
    qunsetenv(variable);
}

}  // namespace penmark
