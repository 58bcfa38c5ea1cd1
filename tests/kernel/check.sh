# SPDX-License-Identifier: MIT OR GPL-2.0
# Checks inside the emulated machine. Each one prints PASS or FAIL and its subject.
dir=/sys/kernel/debug/ifc
checks=0
check() { # WHAT COMMAND...
    what=$1
    shift
    checks=$((checks + 1))
    if "$@"; then echo "PASS $what"; else echo "FAIL $what"; fi
}
op() { echo "$*" >$dir/command 2>/dev/null; }
# Prints the leaks that the kernel knows. Two scans, because memory that is just being freed is no leak.
leaks() {
    [ -e /sys/kernel/debug/kmemleak ] || return 0
    echo scan >/sys/kernel/debug/kmemleak
    sleep 6
    echo scan >/sys/kernel/debug/kmemleak
    cat /sys/kernel/debug/kmemleak
}
