// The call table: every function the library exports, with the shape of its
// parameters, so that `call NAME ARGS...` can call it by name and print its
// result and every output.
//
// Parameter specs, one per parameter, in order (the C type comes from the
// public header, so the table cannot drift from the API):
//   name          an input (int or IFINDEX), or a scalar output (int*, bool*),
//                 or a record output (dm_port_t*, dp_lib_lport_t*, ...)
//   name=N        an in/out count (int*): N on entry unless the caller gives
//                 name=V; the value the function leaves is printed
//   name[N/cnt]   a caller array of N entries (int* or records), at least as
//                 large as the count option it is tied to; cnt says how many
//                 to print: "ret", the name of an output, "+name" (the sum of
//                 that output array) or a number
//   name[cnt]     an array the library allocates (int**, dm_convert_cfg_t**);
//                 printed with cnt entries, then freed
//   name[len]     a char buffer whose size is the input named len
//   handler       dev_event_handler / dev_rpc_handler: "app" or "null"
// Any pointer parameter can be passed as null with name=null.
#pragma once

#include <string>
#include <vector>

#include "args.h"
#include "result.h"

namespace dmsim {

struct CallEntry;

// Calls `sym` (the entry's function) with the arguments; fills *out.
// False with *err for arguments that do not fit the entry.
using CallInvoke = bool (*)(void *sym, const CallEntry &e, const Args &args, Result *out,
                            std::string *err);

struct CallEntry {
    const char *name;
    const char *family;  // the header it is declared in
    const char *ret;     // the result prints like a value of this name ("phyid": hex)
    std::vector<const char *> params;
    CallInvoke invoke;
    std::string (*usage)(const CallEntry &e);
    size_t arity;  // parameters of the declaration; params must match
};

const std::vector<CallEntry> &call_table();
const CallEntry *find_call(const std::string &name);
// "dm_get_unit_port_from_phyid phyid -> ret unit port"; optional inputs and
// counts in brackets with their defaults.
std::string call_usage(const CallEntry &e);

// The application's handlers, passed when a registration function is called
// with "app".
void set_call_handlers(void *event_handler, void *rpc_handler);

// Resolves every entry with `resolve(name)`; returns the names it could not
// find. Calls of unresolved entries fail with an error.
std::vector<std::string> resolve_calls(void *(*resolve)(const char *name, void *ctx), void *ctx);
void *call_symbol(const CallEntry &e);

// Calls a resolved entry.
bool run_call(const CallEntry &e, const Args &args, Result *out, std::string *err);
// Calls an entry through an explicit function pointer of its type (tests).
bool run_call_at(void *sym, const CallEntry &e, const Args &args, Result *out, std::string *err);

}  // namespace dmsim
