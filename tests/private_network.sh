#!/bin/sh
# Runs a test program in a network namespace of its own, whose loopback interface also carries
# multicast, so that nothing it sends leaves the machine:
#   private_network.sh program [arguments...]
# Leaves with status 77, which ctest counts as skipped, where namespaces cannot be made.
set -u

if [ "${1:-}" = --inside ]; then
    shift
    ip link set lo up multicast on || exit 77
    ip route add 224.0.0.0/4 dev lo src 127.0.0.1 || exit 77
    exec "$@"
fi
if [ "$(id -u)" = 0 ]; then
    namespace='unshare --net'
else
    namespace='unshare --user --map-root-user --net'
fi
if ! command -v ip >/dev/null || ! $namespace true 2>/dev/null; then
    echo "skipped: this machine lets nobody make a network namespace, or lacks iproute2" >&2
    exit 77
fi
exec $namespace "$0" --inside "$@"
