#!/usr/bin/env bash
# SPDX-License-Identifier: GPL-3.0-or-later
# Starts the program under a Wayland compositor without a screen and ends it again.
#
#   tests/system/wayland_start.sh PROGRAM
#
# It must show a window, report no errors, still run after 3 seconds, end with status 0 at SIGTERM and leave a library
# that can be opened. Needs the packages weston and qt6-wayland; exits with 77, for "skipped", where one is missing.
set -euo pipefail

if (($# != 1)); then
    echo "usage: ${0##*/} PROGRAM" >&2
    exit 2
fi
program=$(readlink -f -- "$1")
[ -x "$program" ] || { echo "$1 is not a program." >&2; exit 2; }
skip() { echo "Skipped: $1"; exit 77; }
command -v weston >/dev/null || skip "weston is missing (package weston)."
plugins=(/usr/lib/*/qt6/plugins/platforms/libqwayland*.so "${QT_PLUGIN_PATH:-/nonexistent}"/platforms/libqwayland*.so)
[ -n "$(find "${plugins[@]}" 2>/dev/null)" ] || skip "Qt's plug-in for Wayland is missing (package qt6-wayland)."

folder=$(mktemp -d)
weston='' editor=''
clean_up() {
    if [ -n "$editor" ]; then
        kill -KILL "$editor" 2>/dev/null || true
        wait "$editor" 2>/dev/null || true
    fi
    if [ -n "$weston" ]; then
        kill -TERM "$weston" 2>/dev/null || true  # so that it ends what it has started
        within_10_s ended "$weston" || kill -KILL "$weston"
        wait "$weston" 2>/dev/null || true
    fi
    rm -rf "$folder"
}
ended() { ! kill -0 "$1" 2>/dev/null; }
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP PIPE

fail() {
    echo "FAILED: $1"
    for log in program weston; do
        [ -s "$folder/$log.log" ] && printf -- '-- %s.log\n%s\n' "$log" "$(tail -n 40 "$folder/$log.log")"
    done
    exit 1
}

# Waits until a command succeeds, 10 seconds at most.
within_10_s() {
    local end=$((SECONDS + 10))
    until "$@"; do
        ((SECONDS < end)) || return 1
        sleep 0.1
    done
}

mkdir -m 700 "$folder"/{home,run,config,data,cache}
unset DISPLAY WAYLAND_DISPLAY WAYLAND_SOCKET QT_STYLE_OVERRIDE QT_IM_MODULE PENMARK_DATA_ROOT
export HOME=$folder/home XDG_RUNTIME_DIR=$folder/run XDG_CONFIG_HOME=$folder/config XDG_DATA_HOME=$folder/data
export XDG_CACHE_HOME=$folder/cache DBUS_SESSION_BUS_ADDRESS=unix:path=$folder/run/bus

weston --backend=headless-backend.so --width=1280 --height=800 --socket=penmark-test --shell=kiosk-shell.so \
    --idle-time=0 --no-config >"$folder/weston.log" 2>&1 &
weston=$!
within_10_s [ -S "$folder/run/penmark-test" ] || fail "weston did not start."

# What the program tells the compositor says whether it has painted: a buffer is attached to a surface.
WAYLAND_DISPLAY=penmark-test QT_QPA_PLATFORM=wayland WAYLAND_DEBUG=1 \
    "$program" --library "$folder/library" </dev/null >"$folder/said" 2>"$folder/trace" &
editor=$!
# The trace's lines begin with a time in brackets; the rest is the program's own.
own_words() { { cat "$folder/said"; grep -v '^\[ *[0-9.]*\]' "$folder/trace" || true; } >"$folder/program.log"; }
painted() {
    grep -q 'wl_surface@[0-9]*\.attach(wl_buffer@' "$folder/trace" && grep -q 'set_title("' "$folder/trace"
}
painted_or_ended() { painted || ended "$editor"; }
within_10_s painted_or_ended || true
own_words
painted || fail "The program painted no window, or not within 10 seconds."

sleep 3
own_words
kill -0 "$editor" 2>/dev/null || fail "The program ended by itself."
! grep -Eiq 'error|warning|fail|could not|cannot|critical|abort' "$folder/program.log" ||
    fail "The program reported errors."
[ -s "$folder/library/recovery.sqlite" ] || fail "The program made no library."

kill -TERM "$editor"
within_10_s ended "$editor" || fail "The program did not end within 10 seconds after SIGTERM."
status=0
wait "$editor" || status=$?
editor=''
own_words
((status == 0)) || fail "SIGTERM ended the program with status $status."
"$program" --library "$folder/library" --check-library >"$folder/program.log" 2>&1 ||
    fail "The library is damaged."
echo "Started, painted and ended under Wayland."
