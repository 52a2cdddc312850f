/*
 * dm_port_num.h - card and slot port-number queries, PoE and CPU port.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_PORT_NUM_H
#define DM_LIB_PD_PORT_NUM_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Card and slot port numbers.
 *
 * An lport exists on a card type when its lport_unit entry in the card-type
 * record is not negative; the lowest and highest lport come from that table,
 * never from a port count. Slots are local slot numbers of a device.
 *
 * Any thread; records are copied out under their tables' read locks. Some
 * out-values are written on failure, as each function says.
 */

/* Lowest existing lport of the card present in device `devno`, slot `slotid`.
 * 0; -1 for a null min_port (error "invalid parameter"), no card there, an
 * unknown card type, or a card type without lports (then *min_port = -1). */
DM_API int dm_get_min_port_num(int devno, int slotid, int *min_port);
/* Highest existing lport of that card; 0 or -1 as above (*max_port = -1 when
 * the card type has no lport). */
DM_API int dm_get_max_port_num(int devno, int slotid, int *max_port);
/* Highest existing lport of the card in slot `slot` (0..31) of this device:
 * this card's own type for its own slot, the host's view for the others
 * (type 0 or less: no card). `sub_slot` is not used. 0 or -1 as above. */
DM_API int dm_get_local_card_max_port(int slot, int sub_slot, int *max_port);
/* 0 when `lport` (0..255) exists on the card in slot `slot` (0..31) of this
 * device; -1 otherwise (warning "invalid lport" for a missing lport). */
DM_API int dm_local_check_slot_lport(int slot, int lport);
/* Card type present at the card that holds the port `port_phyid` (form 6, 7
 * or 8). 0; -1 for a null lc_type, an unknown port, or no card at its node
 * (then *lc_type holds the negative answer). Errors are printed at error level. */
DM_API int dm_get_dev_type_from_port_phyid(int port_phyid, int *lc_type);
/* The port's Power-over-Ethernet flag. 0; -1 for a null poe_support or an
 * unknown port (warning "get pinfo fail!"). */
DM_API int dm_get_poe_support_by_phyid(int phyid, bool *poe_support);
/* CPU port of the chip with global chip ID `chipid`: from its card's
 * configured card type, the chip type of its unit, and that chip type's
 * record. -1 when the chip ID is not allocated, the card or chip type is
 * unknown, or the unit is beyond the card's chip count (a card type that
 * claims more than 8 chips still lists only 8). */
DM_API int dm_get_chip_cmic_port(int chipid);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_PORT_NUM_H */
