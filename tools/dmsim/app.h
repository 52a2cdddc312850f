// The application dmsim plays towards the library: the device-event handler
// that records every event delivered on the library's event thread, and the
// RPC handler that answers port-validity questions with a reply set by the
// `rpc` command.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <dm_lib_pd/dm_types.h>

#include "result.h"

namespace dmsim {

struct AppEvent {
    int msg_id;
    std::vector<uint8_t> data;
};

struct AppRequest {
    int msg_id;
    std::vector<uint8_t> data;
    int result;     // what the handler answered
    int reply_len;  // the length it reported
};

int app_event_handler(dev_msg_t *msg);
int app_rpc_handler(dev_msg_t *msg, void *ret_buf, int buf_len, int *ret_len);

// The events delivered since the last call. First waits (up to timeout_ms)
// until every event queued before the call has been delivered.
std::vector<AppEvent> app_take_events(int timeout_ms);

// What the RPC handler answers from now on: its result, the reply bytes
// (written up to the room given) and the length it reports (-1: the number
// of bytes).
void app_set_rpc_reply(int result, std::vector<uint8_t> reply, int claimed_len);
std::string app_rpc_reply_text();
// The requests the RPC handler answered since the last call.
std::vector<AppRequest> app_take_requests();

// An event as named fields: the title is its name ("DEV_MSG_CHIPIP_ALLOC",
// or "event N"), the fields its payload; a payload dmsim does not know, or
// one too short, is the field "bytes" (hex), with "short" when too short.
Result decode_event(int msg_id, const std::vector<uint8_t> &data);
// That event in one line:
// "DEV_MSG_CHIPIP_ALLOC chipid=32 node=0x01001000 unit=0 node_type=1(box)"
std::string describe_event(int msg_id, const std::vector<uint8_t> &data);

}  // namespace dmsim
