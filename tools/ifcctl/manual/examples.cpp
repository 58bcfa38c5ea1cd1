// SPDX-License-Identifier: MIT OR GPL-2.0
#include "examples.h"

namespace ifcctl
{

const std::vector<NamedHelp> &examples()
{
    static const std::vector<NamedHelp> table = {
        {"ifcctl ppe on", "Frames that a rule hits may go to the packet engine."},
        {"ifcctl classifier enable", "Switch the classifier on."},
        {"ifcctl rule add ip_proto udp dst_port 5060-5070 action channel 1 queue 7",
         "Telephony goes to queue 7 of channel 1."},
        {"ifcctl rule insert dst_port 22 src_ip 192.168.1.7 action cpu",
         "One station reaches the processor, before all other rules."},
        {"ifcctl rule show", "The rules in the order in which they decide, with what each of them counted."},
        {"ifcctl frame replay capture.pcap", "What the rules decide for the frames of a capture."},
        {"ifcctl rule explain capture.pcap:66", "Why rules hit frame 66 of the capture or not."},
        {"ifcctl set save rules.ifc", "Write rules and switches to a file."},
        {"ifcctl rule add vlan_id 200 action channel 1 queue 6", "One more rule."},
        {"ifcctl set load -n rules.ifc", "What loading the file would change; nothing is changed."},
        {"ifcctl set load rules.ifc", "Back to the rules of the file, all or nothing."},
        {"ifcctl --json rule show", "The same rules for a program."},
        {"printf 'rule add vlan_id 7\\nresource show\\n' | ifcctl --state none -b -",
         "A batch on a chip that is kept nowhere."},
        {"ifcctl rule flush", "Delete all rules."},
    };
    return table;
}

} // namespace ifcctl
