// The call adapter: calls an exported function of any signature the call
// table names. It turns words into the function's inputs, gives it output
// storage that shows what it wrote, and turns the outputs into named
// fields. The typed part is the template below; the rest is in
// call_adapter.cpp. Only calls.cpp (the table) includes this header.
#pragma once

#include <algorithm>
#include <array>
#include <iterator>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <dm_lib_pd/dm_lib_pd.h>

#include "calls.h"

namespace dmsim::call_adapter {

enum class PKind {
    In,        // int or IFINDEX input
    IntOut,    // int*: scalar, in/out count or caller array
    BoolOut,   // bool*
    PortRec,   // dm_port_t*
    LportRec,  // dp_lib_lport_t*
    CardRec,   // dp_lib_card_type_info_t*
    AllocArr,  // dm_chipid_alloc_t* caller array
    LibInts,   // int** allocated by the library
    LibCfgs,   // dm_convert_cfg_t** allocated by the library
    CharBuf,   // char* buffer of a given size
    EventFn,   // dev_event_handler
    RpcFn,     // dev_rpc_handler
};

// The kind of each parameter type the call table uses; a type without an
// adapter does not compile.
template <class T>
constexpr PKind kind_of()
{
    using std::is_same_v;
    constexpr std::pair<bool, PKind> kinds[] = {
        {is_same_v<T, int> || is_same_v<T, unsigned int>, PKind::In},
        {is_same_v<T, int *>, PKind::IntOut},
        {is_same_v<T, bool *>, PKind::BoolOut},
        {is_same_v<T, dm_port_t *>, PKind::PortRec},
        {is_same_v<T, dp_lib_lport_t *>, PKind::LportRec},
        {is_same_v<T, dp_lib_card_type_info_t *>, PKind::CardRec},
        {is_same_v<T, dm_chipid_alloc_t *>, PKind::AllocArr},
        {is_same_v<T, int **>, PKind::LibInts},
        {is_same_v<T, dm_convert_cfg_t **>, PKind::LibCfgs},
        {is_same_v<T, char *>, PKind::CharBuf},
        {is_same_v<T, dev_event_handler>, PKind::EventFn},
        {is_same_v<T, dev_rpc_handler>, PKind::RpcFn},
    };
    constexpr auto at = std::ranges::find(kinds, true, &std::pair<bool, PKind>::first) - kinds;
    static_assert(at < std::ssize(kinds), "parameter type without an adapter");
    return kinds[at].second;
}

// One parameter decl of the table, taken apart.
struct ParamDecl {
    std::string name;
    bool has_default = false;  // "name=N"
    int def = 0;
    bool bracket = false;  // "name[N/cnt]" or "name[cnt]"
    long long size = 0;
    std::string cnt;
};

// Storage of one parameter for one call.
struct Slot {
    PKind kind = PKind::In;
    ParamDecl decl;
    long long in = 0;    // input value; 1 selects the application's handler
    bool given = false;  // an input or count was given by the caller
    bool null = false;   // pass a null pointer
    std::vector<int> ints;
    std::vector<unsigned char> bytes;
    int *lib_ints = nullptr;
    dm_convert_cfg_t *lib_cfgs = nullptr;
};

// The application's handler of a handler parameter's kind ("app"), set by
// set_call_handlers.
void *app_handler(PKind k);
void set_app_handlers(void *event_handler, void *rpc_handler);

template <class T>
T pass(Slot &s)
{
    constexpr PKind k = kind_of<T>();
    if constexpr (k == PKind::In) {
        return static_cast<T>(s.in);
    } else if constexpr (k == PKind::EventFn || k == PKind::RpcFn) {
        return s.in != 0 ? reinterpret_cast<T>(app_handler(k)) : nullptr;
    } else if constexpr (k == PKind::IntOut) {
        return s.null ? nullptr : s.ints.data();
    } else if constexpr (k == PKind::LibInts) {
        return s.null ? nullptr : &s.lib_ints;
    } else if constexpr (k == PKind::LibCfgs) {
        return s.null ? nullptr : &s.lib_cfgs;
    } else {
        return s.null ? nullptr : reinterpret_cast<T>(s.bytes.data());
    }
}

// Before the call: reads the words into the slots, sizes the output
// storage and starts the result (title, function, inputs).
bool begin_call(const CallEntry &e, const PKind *kinds, size_t n, const Args &args,
                std::vector<Slot> &slots, Result *out, std::string *err);
// After it: the result, the outputs as named fields; frees what the
// library allocated.
void end_call(const CallEntry &e, std::vector<Slot> &slots, bool has_ret, int ret, bool is_bool,
              Result *out);
// "dm_get_poe_support_port card_type [port_num=256] -> ret port[] port_num"
std::string describe(const CallEntry &e, const PKind *kinds, size_t n, bool has_ret);

template <class Sig>
struct Adapter;

template <class R, class... A>
struct Adapter<R(A...)> {
    static constexpr size_t arity = sizeof...(A);
    static constexpr std::array<PKind, sizeof...(A) + 1> kinds = {kind_of<A>()..., PKind::In};

    template <size_t... I>
    static R call(R (*fn)(A...), std::vector<Slot> &slots, std::index_sequence<I...>)
    {
        return fn(pass<A>(slots[I])...);
    }

    static std::string usage(const CallEntry &e)
    {
        return describe(e, kinds.data(), sizeof...(A), !std::is_void_v<R>);
    }

    static bool invoke(void *sym, const CallEntry &e, const Args &args, Result *out,
                       std::string *err)
    {
        std::vector<Slot> slots(sizeof...(A));
        if (!begin_call(e, kinds.data(), sizeof...(A), args, slots, out, err)) {
            return false;
        }
        auto fn = reinterpret_cast<R (*)(A...)>(sym);
        if constexpr (std::is_void_v<R>) {
            call(fn, slots, std::index_sequence_for<A...>{});
            end_call(e, slots, false, 0, false, out);
        } else {
            R r = call(fn, slots, std::index_sequence_for<A...>{});
            end_call(e, slots, true, static_cast<int>(r), std::is_same_v<R, bool>, out);
        }
        return true;
    }
};

}  // namespace dmsim::call_adapter

// One entry of the call table: the function, its family and how its result
// prints, and its parameter decls (checked against the declaration's arity).
#define DM_CALL(fn, family, ret, ...)                                        \
    CallEntry                                                                \
    {                                                                        \
#fn, family, ret,                                                    \
            {__VA_ARGS__ }, &call_adapter::Adapter < decltype(fn)> ::invoke, \
             &call_adapter::Adapter < decltype(fn)> ::usage,                 \
             call_adapter::Adapter < decltype(fn)> ::arity                   \
    }
