/*
 * dm_local_port.h - this card's local ports.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_LOCAL_PORT_H
#define DM_LIB_PD_LOCAL_PORT_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * This card's local ports.
 *
 * The data-plane master sends the card's whole port list (data message 5);
 * each message replaces the table at once, under one write lock, so every
 * query sees one list whole. Records are kept in message order and indexed
 * by lport_phyid = (unit << 9 & 0xE00) | (chip port & 0x1FF); a record with
 * lport_phyid 0 has no chip port and is not indexed, and of two records with
 * one key only the first is. Before the first message there is no table and
 * queries that need it print warning "no info!".
 *
 * Slots are compared with the host's dm_get_my_lslotid() (gslot form).
 */

/* Records of the last list, including unindexed ones; 0 before the first. */
DM_API int dm_get_my_lport_num(void);

/* *port_num = dm_get_my_lport_num() for sub-slot 0, the card itself. -1 for
 * a null port_num or any other sub-slot. */
DM_API int dm_get_my_lport_num_by_sub_slot(int sub_slot, int *port_num);

/* The lports of this card's combo ports (fiber and copper) that have a chip
 * port, in list order. *num: capacity on entry (at least 1), count on
 * return; a full array ends the list silently. -1 for a null argument, a
 * capacity below 1, or no table. */
DM_API int dm_get_my_card_multi_lport(int *lport, int *num);

/* This card's slot and the lport of its port at chip `unit`, chip `port`
 * (only unit bits 2..0 and port bits 8..0 count). -1 for a null argument or
 * no such indexed port ("can not find node!"). */
DM_API int dm_local_get_slot_lport_from_unit_port(int unit, int port, int *slot, int *lport);

/* Chip unit and chip port of port `lport` of the card in `slot`. For this
 * card's slot the first record of the list with that lport answers; -1 for
 * no table, no such lport ("param error lport = %d!") or a port without a
 * chip port ("port invalid lport = %d!"). For another slot only a
 * management board (slot 30, 31 or 0, sub-slot 0) answers, from the card
 * type of the card in that slot; there *unit and *port are written before
 * they are checked, and -1 follows when the card is offline, its type
 * unknown, or it has no such port (-1 in *unit or *port; an lport outside
 * 0..255 gives -1 in both). -1 also for a null argument. */
DM_API int dm_local_get_unit_port_from_slot_lport(int slot, int lport, int *unit, int *port);

/* Copies the 52-byte record indexed under `lport_phyid` into *info (the
 * caller's). -1 for a null info or a key not indexed ("fail to get
 * pinfo!"). */
DM_API int dm_local_get_pinfo_by_lport_phyid(int lport_phyid, dp_lib_lport_t *info);

/* Prints the table to standard output, without prefix, whatever the debug
 * level: "all local port: ", the count, and one line per record. */
DM_API void dm_show_all_local_port(void);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_LOCAL_PORT_H */
