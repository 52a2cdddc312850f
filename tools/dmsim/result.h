// What a command answered, as named fields: the result and outputs of a
// call, the events received, a reply. It is printed in one stable format and
// is what `expect` checks.
#pragma once

#include <string>
#include <vector>

namespace dmsim {

// How a value prints: decimal, hex, true/false, or decimal with the name of
// a port type, medium or node type: "3(40g)".
enum class Fmt { Dec, Hex, Bool, PortType, Medium, NodeType };

struct Field {
    enum class Kind { Int, List, Str, Unset, Null };
    std::string name;  // "unit"; inside a record "pinfo.ifx"
    Kind kind = Kind::Int;
    Fmt fmt = Fmt::Dec;
    int num = 0;
    std::vector<int> list;
    std::string str;
};

struct Result {
    std::string title;  // "dm_get_unit_port_from_phyid(0x0804310a)"
    std::vector<Field> fields;
    // Of a call: the function and the inputs it was given, in order.
    std::string fn;
    std::vector<Field> args;

    void add_int(const std::string &name, int v, Fmt fmt);
    void add_list(const std::string &name, std::vector<int> v, Fmt fmt);
    void add_str(const std::string &name, std::string s);
    // An output the function did not write.
    void add_unset(const std::string &name);
    // A pointer output the function set to null.
    void add_null(const std::string &name);
    const Field *find(const std::string &name) const;
    void clear();
};

// Hex for identifiers (phyids, nodes, interface indexes, interface-manager
// keys), names for port types, media and node types, decimal for the rest.
Fmt fmt_for_name(const std::string &name);
// "0x%08x": the one way dmsim prints an identifier in hex.
std::string hex32(unsigned v);
// Hex as 0x%08x; a negative value in a hex field is a failure value and
// prints in decimal.
std::string format_int(int v, Fmt fmt);
std::string format_value(const Field &f);
// A list, comma-separated; of numbers, three or more equal values in a row
// print as "v*n", three or more consecutive ones as "a-b" (parse_list reads
// both).
std::string format_list(const std::vector<int> &v, Fmt fmt);

// The title, " = " and the field named "ret" (if any), then the other plain
// fields on the same line; each record ("pinfo.ifx" ...) on a line of its
// own: "  pinfo: ifx=... phyid=...".
std::string render(const Result &r);

// Checks one clause against a result: "name=value", "name!=value" or
// "name~text" (the printed value contains text). Values: numbers as in
// parse_int, "unset", lists as "[1,2]" or "1,2", strings as given.
// False with the reason in *why.
bool check_clause(const Result &r, const std::string &clause, std::string *why);

}  // namespace dmsim
