/*
 * dm_event.h - registration of the application's device-event and RPC handlers.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_EVENT_H
#define DM_LIB_PD_EVENT_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Registers the application's event handler. Register it before the host
 * initialises the library: the event thread takes the handler once, at its
 * start. Returns 0; -1 for a null handler ("msg deal fun not registered") or
 * when one is already registered ("msg deal fun have registered"; the first
 * stays). */
DM_API int dm_reg_dev_event_handler_pd(dev_event_handler func);

/* Registers the application's RPC handler; the same results as above. */
DM_API int dm_reg_dev_rpc_handler_pd(dev_rpc_handler func);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_EVENT_H */
