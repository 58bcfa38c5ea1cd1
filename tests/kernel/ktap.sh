#!/bin/sh
# SPDX-License-Identifier: MIT OR GPL-2.0
# Reads a flat KTAP report and judges it: the version line, one plan, then as many results as the plan says, numbered from
# 1 without a gap. Prints what did not hold, with its diagnostic lines, and a summary. Exit code: 0 all hold, 1 some test
# failed, 2 no complete report. Lines that are no KTAP are skipped, as the format asks.
# Usage: ktap.sh FILE
exec awk '
function broken(what) {
    printf "ktap: line %d: %s: %s\n", NR, what, $0
    bad = 1
}
/^KTAP/ {
    if ($0 != "KTAP version 1") broken("accepted: KTAP version 1")
    else if (version++) {
        broken("a second report")
        exit
    }
    next
}
/^1\.\./ {
    if (!version) broken("a plan before the version")
    else if (plan) broken("a second plan")
    else if ($0 !~ /^1\.\.[1-9][0-9]*$/) broken("accepted: 1..N with N at least 1")
    else plan = substr($0, 4) + 0
    next
}
/^#/ {
    if (!version) next
    if (results == plan && plan) broken("a diagnostic line after the last result")
    notes = notes "  " $0 "\n"
    next
}
/^[ \t]*(not )?ok/ {
    if (!plan) broken("a result before the plan")
    else if ($0 !~ /^(not )?ok [1-9][0-9]* [^ ]/) broken("accepted: ok N NAME, not ok N NAME")
    else {
        number = ($1 == "not") ? $3 : $2
        if (number != results + 1) broken("expected number " (results + 1))
        else if (++results > plan) broken("more results than the plan says")
        if ($1 == "not") {
            failed++
            printf "%s\n%s", $0, notes
        } else if ($0 ~ / # SKIP/) skipped++
    }
    notes = ""
    next
}
END {
    if (!version) { print "ktap: no line KTAP version 1"; bad = 1 }
    else if (!plan) { print "ktap: no plan"; bad = 1 }
    else if (results < plan) { printf "ktap: %d results, but the plan says %d\n", results, plan; bad = 1 }
    printf "%d tests, %d failed, %d skipped\n", results, failed, skipped
    exit bad ? 2 : failed ? 1 : 0
}' "$1"
