# SPDX-License-Identifier: MIT OR GPL-2.0
# What both parts of the checks use.
. /check.sh
fresh_log() { dmesg -c >>/tmp/kernel.log; } # the end of the run looks through the cleared log, too
logged() { dmesg | sed 's/^\[ *[0-9.]*\] //' | grep -c -x "$1"; } # LINE: how often the log has it
load() { insmod /ifc.ko "$@" 2>/dev/null; }
unload() { rmmod ifc; }
afresh() { # PARAMETER...
    [ ! -e $dir ] || unload
    check "loads afresh${1:+ with $1}" load "$@"
}
reply() { cat $dir/command; }
is() { # OPERATION EXPECTED-LAST-LINE
    op "$1"
    [ "$(reply | tail -n 1)" = "$2" ]
}
refused() { # OPERATION EXPECTED-REPLY
    ! op "$1" && [ "$(reply)" = "$2" ]
}
echo "KERNEL $(uname -r)"
