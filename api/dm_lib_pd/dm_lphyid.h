/*
 * dm_lphyid.h - global and local phyids and their conversions.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_LPHYID_H
#define DM_LIB_PD_LPHYID_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Local phyids.
 *
 * A local phyid (lphyid) is a form-6 or form-8 phyid whose device field is
 * 0; it names a port only on the card that makes it. A form-7 phyid is
 * always global. The conversions use the port table for ports anywhere,
 * this card's local port table for its own ports, and the chip-ID
 * allocation for chip IDs, one table at a time; they keep no state. A
 * conversion that returns a phyid returns 0 on failure (0 is no phyid).
 */

/* *is_global: true for form 7, and for forms 6 and 8 with a device field
 * other than 0. -1 with warning "invalid port phyid" for any other form, or
 * for a null is_global. */
DM_API int dm_phyid_is_global(int phyid, bool *is_global);

/* The port's local form-6 phyid: form 6 loses its device field; form 7 and
 * form 8 of another slot go through the port table; form 8 in this card's
 * slot number (whatever its device) through the local port table. 0 when
 * the port is not found or the form is unknown. */
DM_API int dm_get_lphyid_from_phyid(int phyid);

/* The port's mod_port_phyid: form 7 is returned unchanged; forms 6 and 8
 * get this device's id ORed into their device field and are looked up in
 * the port table. 0 when this device's id is unknown ("invalid devid!"),
 * the port is not found, or the form is unknown. */
DM_API int dm_get_phyid_from_lphyid(int lphyid);

/* The local form-8 phyid of this card's port at chip `unit`, chip `port`; 0
 * with warning "lport not exist!" when this card has no such port. */
DM_API int dm_get_lphyid_from_unit_port(int unit, int port);

/* Chip unit and chip port of a port: form 6 through its slot and lport (see
 * dm_local_get_unit_port_from_slot_lport), form 7 from the chip ID's
 * allocation (*port is written before the chip ID is asked about), form 8
 * only in this card's slot and only for a port in the local port table. 0;
 * -1, or the failing lookup's own non-zero result. */
DM_API int dm_get_unit_port_from_lphyid(int lphyid, int *unit, int *port);

/* Copies this card's local port record of the port named by `lphyid` into
 * *info. Forms 6 and 7 give a unit and chip port as above (possibly of a
 * port of another card: the record is still looked up in this card's
 * table); form 8 accepts slot field 0 as well as this card's slot. 0; -1
 * for a null info, an unknown form or port, or a missing record. */
DM_API int dm_local_get_pinfo_by_lphyid(int lphyid, dp_lib_lport_t *info);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_LPHYID_H */
