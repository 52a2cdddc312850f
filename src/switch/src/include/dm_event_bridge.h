// The device-event / RPC bridge to the application (dm_event_bridge.cpp), as
// the rest of the library sees it. Its exported half (handler registration)
// is in <dm_lib_pd/dm_event.h>.
#pragma once

#include "dm_host.h"

// Raises a device event: the host's queueing copies `msg` before it returns,
// so callers may build it on their stack. 0, or -1 when no event handler is
// registered (the event is dropped) or `msg` is null.
int dm_dev_event_notify_pd(dev_msg_t *msg);

// Asks the application's RPC handler on the calling thread; its result, or -1
// when none is registered or an argument is null.
int dm_dev_rpc_handle_pd(dev_msg_t *msg, void *ret_buf, int buf_len, int *ret_len);

// The application's event handler, or null before it registers one.
dev_event_handler dm_dev_event_handler_pd(void);
