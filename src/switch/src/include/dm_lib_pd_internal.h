// Lifecycle and the device-event / RPC bridge, as the rest of the library
// sees them.
#pragma once

#include "dm_host.h"

// Raises a device event: the host's queueing copies `msg` before it returns,
// so callers may build it on their stack. 0, or -1 when no event handler is
// registered (the event is dropped) or `msg` is null.
int dm_dev_event_notify_pd(dev_msg_t *msg);

// Asks the application's RPC handler on the calling thread; its result, or -1
// when none is registered or an argument is null.
int dm_dev_rpc_handle_pd(dev_msg_t *msg, void *ret_buf, int buf_len, int *ret_len);

// The initialiser and debug-option parser handed to the host.
int lib_pd_init(void);
void lib_pd_dbg_init(char *buf);
