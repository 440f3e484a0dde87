#!/usr/bin/env bash
# Runs a Windows program under Wine, without a screen.
#   scripts/run-wine.sh [--server] PROGRAM [ARGUMENTS...]
#   scripts/run-wine.sh --stop    ends Wine and the screen that it was given
# Streams and exit status are the program's. A Qt that scripts/build-qt-windows.sh made is on its path.
# --server gives the program a server of its own, which sees the network namespace that this runs in and
# ends with the program; it needs to be root there. It gets the screen that another run has made, if any.
# SONDRIX_WINE names another folder for Wine's own files than ~/.cache/sondrix/wine.
set -eu

cache=${XDG_CACHE_HOME:-$HOME/.cache}/sondrix
qt=${SONDRIX_QT_WINDOWS:-$cache/qt-windows}
export WINEPREFIX=${SONDRIX_WINE:-$cache/wine}
export WINEARCH=win64 WINEDEBUG=${WINEDEBUG:--all} WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
# The plain command of Debian asks for a Wine of 32 bits.
wine=/usr/lib/wine/wine64
server=/usr/lib/wine/wineserver
[ -x "$wine" ] || { echo "Wine is missing (package wine64)" >&2; exit 1; }

screen_lives() {
    [ -s "$WINEPREFIX/screen.pid" ] && [ -s "$WINEPREFIX/screen" ] &&
        [[ $(readlink "/proc/$(<"$WINEPREFIX/screen.pid")/exe" 2>/dev/null) = */Xvfb ]]
}

stop_screen() {
    ! screen_lives || kill "$(<"$WINEPREFIX/screen.pid")"
    rm -f "$WINEPREFIX/screen.pid" "$WINEPREFIX/screen"
}

if [ "${1:-}" = --stop ]; then
    [ -d "$WINEPREFIX" ] || exit 0
    "$server" -k 2>/dev/null || true
    timeout 10 "$server" -w 2>/dev/null || true
    stop_screen
    exit 0
fi

mkdir -p "$WINEPREFIX"
{
    flock 9
    # One screen for all programs: Wine's desktop outlives a program and keeps the one that it began with.
    if [ -z "${DISPLAY:-}" ]; then
        # In another namespace nobody sees whether the screen's process lives.
        if [ "${1:-}" != --server ] && ! { screen_lives && [ -S "/tmp/.X11-unix/X$(<"$WINEPREFIX/screen")" ]; }; then
            stop_screen
            setsid Xvfb -displayfd 6 -screen 0 1280x1024x24 -nolisten tcp 6>"$WINEPREFIX/screen" 9>&- \
                </dev/null >/dev/null 2>&1 &
            echo $! >"$WINEPREFIX/screen.pid"
            for ((i = 0; i < 100; ++i)); do
                [ ! -s "$WINEPREFIX/screen" ] || break
                sleep 0.05
            done
        fi
        if [ -s "$WINEPREFIX/screen" ]; then
            DISPLAY=:$(<"$WINEPREFIX/screen")
            export DISPLAY
        fi
    fi
    if [ ! -e "$WINEPREFIX/.ready" ]; then
        # Wine calls itself Windows 7 unless it is told otherwise. There is no window manager: waiting for
        # one would cost two seconds for each window. And it does not look where Debian puts its fonts.
        {
            mkdir -p "$WINEPREFIX/drive_c/windows/Fonts"
            cp /usr/share/wine/fonts/*.ttf "$WINEPREFIX/drive_c/windows/Fonts/"
            "$wine" wineboot -i
            "$wine" reg add 'HKCU\Software\Wine' /v Version /d win10 /f
            "$wine" reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f
            "$server" -w
        } 9>&- </dev/null >/dev/null 2>&1
        touch "$WINEPREFIX/.ready"
    fi
    # What a server starts beside itself would hold the streams of the program that it was started for.
    if [ "${1:-}" != --server ] && ! "$server" -k0; then
        "$server" -p </dev/null >/dev/null 2>&1
        "$wine" cmd /c exit </dev/null >/dev/null 2>&1
    fi 9>&-
} 9>"$WINEPREFIX.lock"

[ ! -d "$qt/bin" ] || export WINEPATH="Z:${qt//\//\\}\\bin"
# Wine keeps variables that begin with QT_ to itself; these arrive under that name. Without the first one,
# a program without a console sends what it logs to the debugger.
export WINEQT_FORCE_STDERR_LOGGING=${WINEQT_FORCE_STDERR_LOGGING-1}
[ -z "${QT_QPA_PLATFORM:-}" ] || export WINEQT_QPA_PLATFORM=$QT_QPA_PLATFORM
if [ "${1:-}" = --server ]; then
    shift
    # The folder of a server's socket, whose name Debian's Wine keeps in a file.
    # SIGTERM ends neither unshare nor the first process of a namespace; with unshare they all end.
    setpriv --pdeathsig KILL unshare --mount --propagation private --pid --fork --kill-child --mount-proc \
        bash -c 'mkdir -p -m 700 "$1" && mount -t tmpfs -o mode=700 tmpfs "$1" && shift && exec "$@"' bash \
        "${TMPDIR:-/tmp}/$(<"$WINEPREFIX/wineserver")" "$wine" "$@" <&0 &
    trap 'kill -KILL $!' INT TERM
    wait $!
    exit
fi
exec "$wine" "$@"
