// SPDX-License-Identifier: MIT OR GPL-2.0
// counter show, bind, reset, export; the table of all counter commands.
#include "counter_commands.h"
#include "counter_table.h"

#include "tools/ifcctl/core/rule_name.h"
#include "tools/ifcctl/device/output_file.h"

#include "ifc/ifc_glb.h"

#include <cstdio>

namespace ifcctl
{

namespace
{

void counterShow(Session &session, WordReader &words)
{
    unsigned first = 0;
    unsigned last = IFC_COUNTERS - 1;
    const bool one = !words.atEnd();
    if (one)
        first = last = takeEntry(words, "counter show");
    words.expectEnd("counter show");
    std::string text = "entry    packets              bytes\n";
    auto json = nlohmann::ordered_json::array();
    for (unsigned entry = first; entry <= last; ++entry) {
        const auto [packets, bytes] = readCounter(session, entry);
        json.push_back({{"entry", entry}, {"packets", packets}, {"bytes", bytes}});
        if (!one && bytes == 0 && packets == 0 && !session.options().statistics)
            continue;
        char line[80];
        (void)std::snprintf(line, sizeof line, "%5u %10llu %18llu\n", entry, packets, bytes);
        text += line;
    }
    session.print(text, json);
}

void counterBind(Session &session, WordReader &words)
{
    const unsigned entry = takeEntry(words, "counter bind");
    // The rule layer also accepts 16, which would change the id of the next entry. The tool refuses it.
    const unsigned id = words.takeNumber("counter bind", 15);
    words.expectEnd("counter bind");
    session.perform("ifc_set_acnt", entry, id);
    session.print("", {{"entry", entry}, {"id", id}});
}

void counterReset(Session &session, WordReader &words)
{
    if (words.atEnd()) {
        session.perform("clear_all_ifc_acnt");
        session.print("", {{"counters", "cleared"}});
        return;
    }
    const unsigned entry = takeEntry(words, "counter reset");
    words.expectEnd("counter reset");
    session.perform("clear counter", entry);
    session.print("", {{"entry", entry}, {"cleared", true}});
}

void counterExport(Session &session, WordReader &words)
{
    std::string path;
    bool named = false;
    MetricsFormat format = MetricsFormat::Prometheus;
    while (!words.atEnd()) {
        if (!named && words.nextIs("-o")) {
            words.takeKey();
            path = words.takeValue("a file, or - for standard output");
            named = true;
        } else if (format == MetricsFormat::Prometheus && words.skip("--openmetrics")) {
            format = MetricsFormat::OpenMetrics;
        } else {
            words.take("counter export", "");
            words.reject("-o OUT, --openmetrics");
        }
    }
    if (named && path.empty())
        throw usage("-o", path, "a file, or - for standard output");
    const Reading reading = readRuleCounters(session);
    const std::string text = metricsText(reading.rules, format);
    if (!named || path == "-") {
        session.printForPrograms(text, {{"text", text}, {"rules", reading.rules.size()}});
        return;
    }
    const bool isFile = writeTextFile("counter export", path, text);
    const size_t count = reading.rules.size();
    const std::string done = "exported: " + std::to_string(count) + (count == 1 ? " rule" : " rules");
    session.print(isFile ? done + " to " + path + '\n' : "", {{"file", path}, {"rules", count}});
}

} // namespace

Counter readCounter(Session &session, unsigned entry)
{
    Counter counter{};
    session.perform("ifc_get_acnt", entry);
    if (std::sscanf(session.lastAnswer().c_str(), "= %*d bytes %llu packets %llu", &counter.bytes,
                    &counter.frames) != 2)
        throw Error(Reason::DeviceFailed, "device: no counters in '" + session.lastAnswer() + '\'');
    return counter;
}

std::vector<Command> counterCommands()
{
    return {
        {"counter", "show", "[N]", "packets and bytes of one entry, or of all entries that counted",
         counterShow},
        {"counter", "watch", "[SECONDS] [-n COUNT]",
         "packets, bytes and rates of each rule, again after SECONDS; COUNT times, else until q is pressed",
         counterWatch},
        {"counter", "export", "[-o OUT] [--openmetrics]",
         "packets and bytes of each rule as text for Prometheus", counterExport},
        {"counter", "bind", "N ID", "bind entry N to counter id 0 to 15", counterBind},
        {"counter", "reset", "[N]", "zero the counter of one entry, or all counters", counterReset},
    };
}

} // namespace ifcctl
