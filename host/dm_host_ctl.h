/*
 * dm_host_ctl.h - the control side of the host stand-in.
 *
 * The stand-in plays the host library (and the device-manager kernel driver)
 * for programs that load dm_lib_pd outside a switch: tests, dmsim, examples.
 * These calls set what the host answers and drive the handlers the library
 * registered, the way the real host's threads would. All are thread-safe.
 */
#ifndef DM_HOST_CTL_H
#define DM_HOST_CTL_H

#include <stdbool.h>
#include <stddef.h>

#include "dm_host.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- identity ----------------------------------------------------------- */

/* This card: its node (dm_get_my_devid answers its bits 29..24), its slot in
 * gslot form, card type and node type. Until it is set the host answers node,
 * device and slot 0, node type DM_TYPE_UNKNOWN, and dm_get_my_card_type fails. */
void dm_host_set_my_card(int node, int lslotid, int card_type, int node_type);
/* A card present in the chassis: what dm_get_dev_phy_type*,
 * dm_get_dev_cfg_type_by_node, dm_get_node_type and
 * dm_get_local_card_type_by_lslotid answer for its node (setting a node again
 * replaces its entry). A node with no entry answers -1, except this card's own
 * node, which answers this card's type (present and configured) and node type.
 * dm_get_dev_phy_type(dev, slot, sslot) asks for the node of those three;
 * dm_get_local_card_type_by_lslotid(s) for this device, sub-slot bits 14..10
 * and slot bits 4..0 of s (a plain slot number or a gslot). */
void dm_host_set_card(int node, int phy_type, int cfg_type, int node_type);
void dm_host_remove_card(int node);
/* Makes dm_get_my_card_type fail (-1) or succeed again. */
void dm_host_set_my_card_type_fails(bool fails);

/* The initial-synchronisation flag dm_lib_data_bs_over reports. */
void dm_host_set_bs_over(bool over);
/* The host's debug level (default LIB_DBG_END: silent) and library name
 * (default "dm", at most 63 characters; set it before the library runs). */
void dm_host_set_dbg_level(int level);
void dm_host_set_lib_name(const char *name);

/* ---- driving the library ------------------------------------------------- */

/* True once the library registered its handlers for module DP_LIB_MOD_PD. */
bool dm_host_lib_registered(void);
/* Calls the registered initialiser (-1 when none is registered). */
int dm_host_run_init(void);
/* Calls the registered debug-option parser (nothing when none). */
void dm_host_run_dbg_init(const char *option);
/* Calls the registered handlers; false when none is registered.
 * dm_host_send_data hands the handler a heap copy of exactly `len` bytes (a
 * null buffer or a length <= 0 is passed on as given), so reading past the
 * message is caught by the memory checkers. dm_host_send_rpc hands the
 * handler the host's request buffer: a copy of the `len` request bytes in a
 * block of exactly DM_HOST_RPC_REPLY_ROOM bytes (or `len`, if larger); that
 * block, with the reply written over its start, is copied back over `buf`,
 * which must have room for it. */
bool dm_host_send_data(const void *buf, int len);
bool dm_host_send_rpc(void *buf, int len, int *ack_len);
bool dm_host_batch(int batch_flag);
bool dm_host_show(int para);
/* Builds the 16-byte header (module DP_LIB_MOD_PD) and sends the payload. */
bool dm_host_send_msg(int msgid, const void *payload, int len);
/* The address-manager client's handlers (data copied as for dm_host_send_data). */
bool dm_host_addr_data(const void *buf, int len);
bool dm_host_addr_batch(int flag);

/* ---- what the host observed ---------------------------------------------- */

/* Names of the batch-end host steps in the order they were called, each
 * followed by '\n', written into buf (truncated to size); returns the count. */
int dm_host_batch_steps(char *buf, size_t size);
void dm_host_batch_steps_clear(void);
/* With `on`, every device event the library raises is logged among the steps
 * as "dm_dev_event_notify", so its order against the host's steps shows. */
void dm_host_batch_steps_log_events(bool on);

/* Event loops stop and return when asked (events still queued stay queued);
 * the request is kept, so a loop started later returns at once. */
void dm_host_event_stop(void);
/* Number of events the loop delivered to a handler so far (events dropped
 * by a loop without a handler are not counted). */
unsigned long dm_host_events_delivered(void);

/* Log file: every dm_logfile_write_log call is one line; the formatted text
 * is kept without its trailing line end and, when a path is set, appended to
 * that file followed by one '\n'. Default: no path (memory only); a null or
 * empty path sets none. */
void dm_host_log_set_path(const char *path);
/* Number of log lines written, and a copy of line i (truncated to size,
 * NUL-terminated; false when there is no line i). */
int dm_host_log_count(void);
bool dm_host_log_line(int i, char *buf, size_t size);
void dm_host_log_clear(void);

/* Successful calls of the insertion service. Records are kept until exit; a
 * record for a key already present is copied over the stored one. */
unsigned long dm_host_inserted_records(void);

/* ---- the kernel-device stand-in ------------------------------------------ */

/* While attached, request 0xC1007815 on a descriptor opened on exactly the
 * relative path "tmp/dm_dev" (the file must exist) is answered from the
 * tables below: the 32-bit answer is written over the first 4 bytes and
 * nothing else is written; a question without an answer fails with ENOENT, a
 * malformed one with EINVAL. Detached (the default), and for every other
 * descriptor or request, the real ioctl runs (and fails with ENOTTY on a
 * plain file: it has no driver behind it). */
void dm_host_kdev_attach(bool on);
/* Interface index of a port, by its interface-manager key and link-layer type. */
void dm_host_kdev_set_ifx(int lsm_key, int llcb_type, int ifx);
/* Interface-manager key of an interface index. */
void dm_host_kdev_set_lsm_key(int ifx, int lsm_key);
void dm_host_kdev_clear(void);
/* Number of requests answered (or refused) by the stand-in. */
unsigned long dm_host_kdev_requests(void);

#ifdef __cplusplus
}
#endif

#endif /* DM_HOST_CTL_H */
