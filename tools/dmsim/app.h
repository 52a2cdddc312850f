// The application dmsim plays towards the library: the stand-in's handlers,
// which record every event delivered on the library's event thread and
// answer port-validity questions with a reply set by the `rpc` command, and
// the readable form of what they received.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <dm_lib_pd/dm_types.h>

#include "dm_standin.h"

#include "result.h"

namespace dmsim {

// The stand-in's application (dm_standin.h) records the events and answers
// the requests; dmsim describes them.
using AppEvent = dmstandin::Message;
using AppRequest = dmstandin::Request;
using dmstandin::app_event_handler;
using dmstandin::app_rpc_handler;
using dmstandin::app_take_events;
using dmstandin::app_take_requests;

// What the RPC handler answers, for the `rpc` command's report.
std::string app_rpc_reply_text();

// An event as named fields: the title is its name ("DEV_MSG_CHIPIP_ALLOC",
// or "event N"), the fields its payload; a payload dmsim does not know, or
// one too short, is the field "bytes" (hex), with "short" when too short.
Result decode_event(int msg_id, const std::vector<uint8_t> &data);
// That event in one line:
// "DEV_MSG_CHIPIP_ALLOC chipid=32 node=0x01001000 unit=0 node_type=1(box)"
std::string describe_event(int msg_id, const std::vector<uint8_t> &data);

}  // namespace dmsim
