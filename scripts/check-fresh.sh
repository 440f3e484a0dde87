#!/usr/bin/env bash
# Runs the README's first two commands, and the Debian package, in a Debian 12 that holds nothing else, and
# tells how long each took.
#   scripts/check-fresh.sh [FOLDER]
# Needs root. The roots are made by debootstrap in FOLDER, by default a new one under /tmp, which is
# removed at the end. They use this machine's sources of packages.
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

[ "$(id -u)" = 0 ] || fail "Making a root of its own needs root."
ensure_packages debootstrap util-linux iproute2

folder=${1:-$(mktemp -d /tmp/sondrix-fresh.XXXXXX)}
mkdir -p "$folder"
[ $# -gt 0 ] || trap 'rm -rf --one-file-system "$folder"' EXIT

# mirror: where this machine's packages come from, from either form of the list of sources.
mirror() {
    sed -n 's/^URIs: *\([^ ]*\).*/\1/p' /etc/apt/sources.list.d/*.sources 2>/dev/null | head -n 1
    sed -n 's/^deb \(\[[^]]*\] \)\?\([^ ]*\).*/\2/p' /etc/apt/sources.list 2>/dev/null | head -n 1
}

# make_root NAME: a bare Debian 12 that asks the same sources, by the same ways, as this machine.
make_root() {
    local root=$folder/$1 uri
    uri=$(mirror | head -n 1)
    [ -n "$uri" ] || fail "This machine names no source of packages."
    debootstrap --variant=minbase bookworm "$root" "$uri" >"$folder/$1.log" 2>&1 ||
        fail "debootstrap failed, see $folder/$1.log"
    local settings
    for settings in /etc/apt/apt.conf.d/99* /etc/resolv.conf; do
        [ ! -e "$settings" ] || cp --dereference "$settings" "$root$settings"
    done
}

# inside NAME COMMAND...: runs it in that root, with a mount and a process namespace of its own, so that
# nothing of it stays behind.
inside() {
    local root=$folder/$1
    shift
    unshare --mount --pid --fork --propagation private bash -c '
        root=$1; shift
        mount --bind "$root" "$root"
        mount --rbind /sys "$root/sys"
        mount --rbind /dev "$root/dev"
        mount -t proc proc "$root/proc"
        exec chroot "$root" /usr/bin/env -i HOME=/root PATH=/usr/sbin:/usr/bin:/sbin:/bin TERM=dumb "$@"
    ' bash "$root" "$@"
}

rows=()
# timed NAME COMMAND...: notes how the command ended and how long it took.
timed() {
    local name=$1 begin=$SECONDS result=passed
    shift
    say "== $name"
    # In a shell of its own, which a step may end without the table being lost.
    ("$@") || result="failed with status $?"
    rows+=("| $name | $result | $((SECONDS - begin)) s |")
    [ "$result" = passed ]
}

copy_tree() {
    mkdir -p "$folder/$1/sondrix"
    tar -C "$project_root" --exclude=./build --exclude=./.git -c . | tar -C "$folder/$1/sondrix" -x
}

status=0
timed "debootstrap" make_root source || status=1
copy_tree source
timed "scripts/run.sh --scan-once --json" inside source bash -c \
    'cd /sondrix && scripts/run.sh --scan-once --json >/report.json 2>/run.log || { tail -n 30 /run.log >&2; exit 1; }' ||
    status=1
timed "the report is one line of JSON" bash -c '[ "$(wc -l <"$1")" = 1 ] && python3 -m json.tool "$1" >/dev/null' \
    bash "$folder/source/report.json" || status=1
timed "scripts/test.sh" inside source bash -c 'cd /sondrix && scripts/test.sh >&2' || status=1
timed "scripts/package-linux.sh" inside source bash -c 'cd /sondrix && scripts/package-linux.sh >/package' || status=1
timed "debootstrap for the package" make_root package || status=1
cp "$folder"/source/sondrix/build/package-linux/*.deb "$folder/package/" || status=1
timed "apt install of the package" inside package bash -c \
    'apt-get update -q >/dev/null && apt-get install -q -y --no-install-recommends /*.deb >/install.log 2>&1' || status=1
timed "a pass of the installed program" inside package bash -c \
    'CorvaneTVSondrix --scan-once --json >/report.json && [ "$(wc -l </report.json)" = 1 ]' || status=1

echo "| What | Result | Time |"
echo "|---|---|---|"
printf '%s\n' "${rows[@]}"
exit "$status"
