// The help of the command language: an overview with examples, and each
// command's usage and notes from the command tables.
#include <string>

#include "interp.h"

namespace dmsim {

namespace {

const char kOverview[] =
    "dmsim runs libdm_lib_pd outside a switch: it plays the host library, the\n"
    "data-plane master, the address manager and an application, and speaks a\n"
    "line-oriented command language. One command per line; '#' starts a comment;\n"
    "words with blanks go in double quotes. Numbers are decimal, 0x hex or\n"
    "negative; identifiers can be built in place:\n"
    "  node(dev,slot[,sslot])  gslot(dev,slot)  slot_lport(dev,slot,lport)\n"
    "  unit_port(dev,slot,unit,port)  mod_port(chipid,port)  dm_phyid(dev,slot,unit,port)\n"
    "  lport_phyid(unit,port)  sysport(dev,slot,unit,port)  mgmt(dev,slot,lport)\n"
    "Lists are comma-separated with ranges a-b and repeats v*n: ids=32-35,40.\n"
    "\n"
    "Describe a chassis:\n"
    "  gen devs=1-2 slots=1-2 ports=8 chips=2      a whole chassis in one line\n"
    "  me dev=1 slot=1 card=100                    this card (host identity)\n"
    "  card dev=1 slot=30 type=200 node_type=mb    a card present\n"
    "  cardtype type=100 name=LC8 ports=8 chips=2 chiptype=10\n"
    "  chiptype type=10 family=5 invalid=255 cmic=0\n"
    "  port dev=1 slot=1 lport=1 unit=0 cport=1 ifx=0x101001 chipid=32\n"
    "  lport card type=100  then  lport send        this card's local ports\n"
    "  chipid real dev=1 slot=1 ids=32,33 card=100  chip-ID allocation\n"
    "  mgmt dev=1 lport=0 ifx=0x9001   preinst 1/2/0   fc start list slot_lport(1,1,1):fc\n"
    "  batch over                                  the end of the batch synchronisation\n"
    "\n"
    "Ask and check:\n"
    "  call dm_get_pinfo_by_phyid slot_lport(1,1,1)\n"
    "  expect ret=0 pinfo.ifx=0x101001              checks the last answer\n"
    "  expect dm_get_unit_port_from_phyid slot_lport(1,1,1) -> ret=0 unit=0 port=1\n"
    "  events      show 6      show chassis      portvalid node=node(1,1) lport=1\n"
    "\n"
    "Run: dmsim SCRIPT... runs scripts and exits non-zero when a command failed or an\n"
    "expectation did not hold; dmsim on a terminal is an interactive shell; with no\n"
    "script and no terminal it runs the demo. Options: --lib PATH loads another\n"
    "library; -k goes on after a failed command; --calls lists the exported\n"
    "functions it can call.\n"
    "\n"
    "Commands (help COMMAND for details):\n";

// "  name      summary"
std::string line(const std::string &name, const std::string &summary)
{
    return "  " + name + std::string(name.size() < 10 ? 10 - name.size() : 1, ' ') + summary + "\n";
}

}  // namespace

bool help_text(const std::string &topic, std::string *text)
{
    const std::vector<const std::vector<Command> *> families = {
        &host_commands(), &message_commands(), &query_commands()};
    const char *builtins[][2] = {
        {"expect NAME=VALUE... | expect FUNCTION ARGS... -> NAME=VALUE...",
         "checks the last answer, or calls FUNCTION quietly and checks its answer\n"
         "  NAME!=VALUE and NAME~TEXT (the printed value contains TEXT) work too; values\n"
         "  are numbers or builders, lists [1,2-4], strings, unset or null. A failed\n"
         "  expectation is reported with the script line; the script goes on and dmsim\n"
         "  exits with status 1. Example: expect dm_get_my_lport_num -> ret=8"},
        {"source FILE", "runs another script (relative to this one)"},
        {"echo TEXT", "prints TEXT"},
        {"help [COMMAND]", "this help"},
        {"json on|off", "one JSON object per command from now on (as --json), or text again"},
        {"quit", "ends the session (also: exit)"},
    };
    if (topic.empty()) {
        *text = kOverview;
        for (const auto *f : families) {
            for (const Command &c : *f) {
                *text += line(c.name, c.summary);
            }
        }
        for (const auto &b : builtins) {
            std::string name = std::string(b[0]).substr(0, std::string(b[0]).find(' '));
            *text += line(name, std::string(b[1]).substr(0, std::string(b[1]).find('\n')));
        }
        return true;
    }
    for (const auto *f : families) {
        for (const Command &c : *f) {
            if (topic == c.name) {
                *text = std::string(c.usage) + "\n  " + c.summary + "\n" +
                        (c.details[0] ? c.details + std::string("\n") : "");
                return true;
            }
        }
    }
    for (const auto &b : builtins) {
        if (std::string(b[0]).rfind(topic + " ", 0) == 0 || b[0] == topic) {
            *text = std::string(b[0]) + "\n  " + b[1] + "\n";
            return true;
        }
    }
    return false;
}

}  // namespace dmsim
