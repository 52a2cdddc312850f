// The stand-in for what surrounds the library outside a switch, beyond the
// host library itself (dm_host_ctl.h): the data-plane master's messages and
// the application that receives the library's events. Tests, benchmarks,
// fuzz targets and dmsim use it.
//
// - Messages (dm_standin_msgs.cpp): the bytes of a data-plane message (the
//   16-byte head and its payload) and the payloads that are more than one
//   record: the local port list, a conversion chunk, chip-ID synchronisation
//   data; and the records every caller builds the same way: a port, a card
//   type without ports, a chip-ID slot. Builds bytes only; send() and
//   send_bytes() hand a payload to the host stand-in.
// - The application (dm_standin_app.cpp): an event handler and an RPC
//   handler that record what the library hands them, the reply the RPC
//   handler gives, and the waits for events delivered on the library's event
//   thread. Its state lives as long as the process.
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <addr_common.h>
#include <dm_host_ctl.h>
#include <dm_lib_pd/dm_types.h>
#include <dp_pd_common.h>

namespace dmstandin {

// ---- messages -------------------------------------------------------------------

using Bytes = std::vector<uint8_t>;

// The bytes of a record.
template <class T>
Bytes bytes_of(const T &rec)
{
    Bytes b(sizeof rec);
    std::memcpy(b.data(), &rec, sizeof rec);
    return b;
}

// Appends `n` bytes at `data` to a buffer.
void append(Bytes &b, const void *data, size_t n);

// A data-plane message: the 16-byte head (its length the payload's) and the
// payload; put_message writes one at `at`, which has room for 16 + len bytes.
Bytes dp_message(int msgid, int module, const Bytes &payload);
void put_message(unsigned char *at, int msgid, int module, const void *payload, int len);

// The local port list (message 5): `count` (any value) and the records.
Bytes lport_payload(const std::vector<dp_lib_lport_t> &lports, int count);
// A conversion chunk (messages 9, 12): the index range and the entries.
Bytes fc_chunk(int cfg_min, int cfg_max, const std::vector<dm_convert_cfg_t> &entries);
// Chip-ID synchronisation data: the head (its length the whole size) and the slots.
Bytes addr_sync(int type, const std::vector<chipid_slot_t> &slots);

// A valid chip-ID slot: chip IDs `ids` (per_unit of them per chip) for `gslot`.
chipid_slot_t chipid_slot(int gslot, const std::vector<int> &ids, int per_unit = 1,
                          int card_type = 0);
// A port of device `dev`, slot `slot`: chip `unit`, chip port `cport`, local
// port `lport`, with its dm_phyid, slot_lport_phyid and node; every other
// field 0.
dp_lib_port_t port_record(int dev, int slot, int unit, int cport, int lport);
// A card type with no ports: every lport's unit and chip port -1.
dp_lib_card_type_info_t card_type_record(int type);

// Hands a payload to the library's data handler with module DP_LIB_MOD_PD.
template <class T>
bool send(int msgid, const T &payload)
{
    return dm_host_send_msg(msgid, &payload, static_cast<int>(sizeof payload));
}
inline bool send_bytes(int msgid, const Bytes &payload)
{
    return dm_host_send_msg(msgid, payload.data(), static_cast<int>(payload.size()));
}

// ---- the application --------------------------------------------------------------

// A device message as the application received it.
struct Message {
    int msg_id;
    Bytes data;
};
// A port-validity request and what the RPC handler answered.
struct Request {
    int msg_id;
    Bytes data;
    int result;     // the handler's result
    int reply_len;  // the length it reported
};

int app_event_handler(dev_msg_t *msg);
int app_rpc_handler(dev_msg_t *msg, void *ret_buf, int buf_len, int *ret_len);
// Registers both handlers with the loaded library (found at run time, so a
// library loaded with dlopen and RTLD_GLOBAL serves too); false when it is
// not loaded or refuses.
bool app_register();

// Every event received so far, in delivery order; app_wait_events first waits
// (up to timeout_ms) until there are at least n.
std::vector<Message> app_events();
std::vector<Message> app_wait_events(size_t n, int timeout_ms);
void app_clear_events();
// The events received since the last take. First waits (up to timeout_ms)
// until every event queued before the call has been delivered: a marker
// queued behind them comes back through the host's event loop.
std::vector<Message> app_take_events(int timeout_ms);

// What the RPC handler answers from now on: it writes the reply bytes (up to
// the room given), reports claimed_len (-1: the number of bytes written) and
// returns `result`. Default: 0, no bytes.
struct RpcReply {
    int result = 0;
    Bytes reply;
    int claimed_len = -1;
};
void app_set_rpc_reply(RpcReply reply);
RpcReply app_rpc_reply();
// The requests answered so far; app_take_requests those since the last take.
std::vector<Request> app_requests();
std::vector<Request> app_take_requests();

}  // namespace dmstandin
