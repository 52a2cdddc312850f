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

/*
 * The application's handlers.
 *
 * The library tells the application about changes by device events and asks
 * it one question, whether a port is valid, by a device RPC (identifiers and
 * payloads in dm_types.h). The application registers one handler of each
 * kind, once for the life of the process: a handler can be neither replaced
 * nor removed. Registration is atomic, so it may be called from any thread;
 * of two racing registrations one wins and the other fails.
 *
 * While no event handler is registered, events are dropped (warning "event
 * deal function not register"); while no RPC handler is registered, a
 * port-validity request is answered with result -1 and no reply.
 */

/* Registers `func` as the application's event handler. The library's event
 * thread calls it, one event at a time, with a message that is valid only
 * during the call. Register it before the host initialises the library: the
 * event thread takes the handler once, when it starts, and keeps that one.
 * 0 (verbose "msg deal fun registered"); -1 for a null func (warning "msg
 * deal fun not registered", nothing changes) or when a handler is already
 * registered (error "msg deal fun have registered"; the first stays). */
DM_API int dm_reg_dev_event_handler_pd(dev_event_handler func);

/* Registers `func` as the application's RPC handler. It is called on the host
 * thread that delivers a port-validity request, with DEV_MSG_PORT_VALID and a
 * dm_port_valid_t as data; it may write up to `buf_len` (124) bytes of reply
 * into `ret_buf`, sets *ret_len and returns 0, or returns non-zero, which the
 * host receives without a reply. It may be registered at any time; requests
 * before that fail. 0 or -1 with the same messages as the event handler's. */
DM_API int dm_reg_dev_rpc_handler_pd(dev_rpc_handler func);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_EVENT_H */
