// Words of a command line and the values they stand for: numbers (decimal,
// hex, negative), identifier builders such as node(1,3), lists and ranges,
// names of port types, media and node types, and hex byte strings.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace dmsim {

// One command line split into words. Double quotes group words with blanks
// (the quotes are dropped); '#' outside quotes starts a comment.
bool split_words(const std::string &line, std::vector<std::string> *words, std::string *err);

// The words after the command word: positional words and name=value options
// in the order given.
struct Args {
    std::vector<std::string> pos;
    std::vector<std::pair<std::string, std::string>> opts;

    // Splits words into positional words and options ("a=b" with a name on
    // the left; a word starting with '=' or a quoted "=" stays positional).
    static Args from_words(const std::vector<std::string> &words, size_t first);

    bool has(const std::string &name) const;
    // The value of an option, or null; the last one given wins.
    const std::string *opt(const std::string &name) const;
    // Names of options that are not in `known` (for "unknown option" errors).
    std::vector<std::string> unknown(const std::vector<std::string> &known) const;
    // False with "unknown option 'x'" when an option is not in `known`.
    bool only(const std::vector<std::string> &known, std::string *err) const;
    // The number given as name=N into *v; *v stays when the option is
    // absent (get) or that is an error (need: "missing name=").
    bool get(const char *name, int *v, std::string *err) const;
    bool need(const char *name, int *v, std::string *err) const;
};

// A 32-bit value: decimal, 0x hex or 0b binary, optionally negative; true
// and false; or an identifier builder with numeric arguments:
//   node(dev,slot[,sslot])   gslot(dev,slot[,sslot])   slot_lport(dev,slot,lport)
//   mod_port(chipid,port)    unit_port(dev,slot,unit,port)
//   dm_phyid(dev,slot,unit,port)   lport_phyid(unit,port)
//   sysport(dev,slot,unit,port)    mgmt(dev,slot,lport)
// Values from -2^31 to 2^32-1 are accepted; those above 2^31-1 wrap, so
// 0xffffffff is -1.
bool parse_int(const std::string &text, int *value, std::string *err);

// The node of a card: device, slot and sub-slot.
int node_of(int dev, int slot, int sslot);

// An identifier taken apart, the inverse of the builders above: the form
// ("slot_lport", "mod_port", "unit_port", "mgmt", "lport_phyid", "node")
// and its parts in the builder's order ({"device", 1}, {"slot", 3}, ...).
struct IdParts {
    const char *form = nullptr;  // null: no form dmsim knows
    std::vector<std::pair<const char *, int>> parts;
};
// What a value named `name` holds, by its name as fmt_for_name reads it:
// "...lport_phyid" an lport_phyid, "...phyid" a phyid of the form its top
// byte names, "...node" a node; anything else is left alone.
IdParts decode_id(const std::string &name, int value);

// A comma-separated list of values, ranges "a-b" (ascending) and repeats
// "v*n", at most `max_items` values in all.
bool parse_list(const std::string &text, std::vector<int> *values, std::string *err,
                size_t max_items = 4096);

// Hex bytes: words like "0a 1b" or runs like "0a1b2c"; an optional 0x prefix
// per word.
bool parse_hex_bytes(const std::vector<std::string> &words, std::vector<uint8_t> *bytes,
                     std::string *err);

// Port types: fe ge 10g 40g 100g vmgmt mgmt fc 25g 50g 200g 400g, or a number.
bool parse_port_type(const std::string &text, int *type, std::string *err);
const char *port_type_name(int type);
// Media: fiber copper combo, or a number.
bool parse_medium(const std::string &text, int *medium, std::string *err);
const char *medium_name(int medium);
// Node types: unknown box mb lc sublc sfc msc, or a number.
bool parse_node_type(const std::string &text, int *node_type, std::string *err);
const char *node_type_name(int node_type);
// Debug levels: verbose detail warn error silent, or 0..4.
bool parse_debug_level(const std::string &text, int *level, std::string *err);
// Link-layer types of the interface manager: a number, or a port type name
// mapped as the library maps it (10g -> 8).
bool parse_llcb_type(const std::string &text, int *llcb, std::string *err);

}  // namespace dmsim
