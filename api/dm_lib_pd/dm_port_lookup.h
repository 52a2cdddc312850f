/*
 * dm_port_lookup.h - port lookups by interface index and by phyid (forms 6, 7 and 8).
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_PORT_LOOKUP_H
#define DM_LIB_PD_PORT_LOOKUP_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Port lookups.
 *
 * The data-plane master describes every port of the chassis (data messages
 * 0, 1 and 2); the library keeps one record per port, reachable by its
 * interface index, its dm_phyid, its slot_lport_phyid and its interface
 * manager's key. A getter names the port by one identifier, copies the
 * port's record out under the table's read locks and answers from the copy.
 *
 * Accepted phyids ("resolved" below) are the three global forms:
 *   6 slot_lport_phyid  found directly;
 *   7 mod_port_phyid    its chip ID must be allocated (chip-ID queries);
 *   8 unit_port_phyid   only the unit's low three bits count.
 * Any other top byte, a bare dm_phyid or a local phyid finds nothing.
 *
 * Every function may be called from any thread at any time; none holds a
 * lock while it asks another table, the host or the kernel driver, and none
 * allocates or makes a system call when the table can answer. Nothing
 * returned needs freeing. Messages go to standard output when the host's
 * debug level allows: "param error!" (warning) for a null output, "can not
 * find node!" (warning) for a port that is not found (printed by the table
 * lookup and again by the getter), and a verbose trace of the argument.
 *
 * The kernel driver ("tmp/dm_dev", relative to the working directory) is
 * asked only when the table cannot answer: a port without an interface
 * index, or an interface index the table does not hold.
 */

/* The port with interface index `ifx` as a reduced record (its `phyid` is
 * the port's slot_lport_phyid). A global chip ID the record lacks is taken
 * from the chip-ID allocation.
 * 0; -1 for ifx 0 or a null `pinfo` ("param error!"), an unknown index, or a
 * chip ID known nowhere (then *pinfo is filled except g_chipid, which is 0). */
DM_API int dm_get_pinfo_by_ifx(int ifx, dm_port_t *pinfo);
/* True when the port with interface index `ifindex` is on this device (its
 * device is the host's dm_get_my_devid()); false otherwise and when the
 * index is unknown. */
DM_API bool dm_port_is_on_local_switch(unsigned int ifindex);
/* The mod_port_phyid (form 7) of the port with interface index `ifx`. The
 * chip ID always comes from the chip-ID allocation. When the table does not
 * hold `ifx` (0 included), or its port has no chip ID, the kernel names the
 * port's interface manager's key, which is looked up instead.
 * 0; -1 for a null `phyid`, "fail to get data from kernel." when the driver
 * cannot answer, an unknown key, or "fail to get phyid!" without a chip ID. */
DM_API int dm_get_phyid_from_ifx(int ifx, int *phyid);
/* Global chip ID and chip port of a port. A form-7 phyid is answered from its
 * own bits (chip ID bits 23..8, port bits 7..0), port or no port; otherwise
 * the port is resolved and its card's (device, slot, sub-slot 0) chip `unit`
 * is looked up in the chip-ID allocation.
 * 0; -1 for a null output, an unknown port, or
 * "dm_get_chipid_from_unit_node = %d!" with the chip-ID query's result. */
DM_API int dm_get_chipid_port_from_phyid(int phyid, int *chipid, int *port);
/* The resolved port as a reduced record (its `phyid` is always the port's
 * slot_lport_phyid); the chip ID as for dm_get_pinfo_by_ifx. An interface
 * index the record lacks is asked of the kernel. A port without an interface index is a success with ifx 0, after warning
 * "dm_kernel_get_ifx_from_port_info fail(ret:%d, ifx:0x%x)!".
 * 0; -1 for a null `pinfo`, an unknown port, or a chip ID known nowhere (then
 * *pinfo is filled except g_chipid, which is 0). */
DM_API int dm_get_pinfo_by_phyid(int phyid, dm_port_t *pinfo);
/* Node of the sub-card that carries the resolved port. 0; -1 for a null
 * output or an unknown port. */
DM_API int dm_get_subcard_node_by_phyid(int phyid, int *subcard_node);
/* Interface index of the resolved port: the record's, when the table still
 * holds that index, else the kernel's. 0; -1 for a null output, an unknown
 * port, or when the kernel cannot answer ("dm_kernel_get_ifx_from_port_info
 * fail(phyid:0x%x)"; *ifindex then holds the record's value, possibly 0). */
DM_API int dm_get_ifindex_from_phyid(int phyid, int *ifindex);
/* Unit (chip on its card) and chip port of the resolved port. 0; -1 for a
 * null output or an unknown port. */
DM_API int dm_get_unit_port_from_phyid(int phyid, int *unit, int *port);
/* Node of the card and local port number of the resolved port. 0; -1 for a
 * null output or an unknown port. */
DM_API int dm_get_node_lport_from_phyid(int phyid, int *node, int *lport);
/* Node of the sub-card that carries the resolved port. 0; -1 for a null
 * output; -2 for an unknown port. */
DM_API int dm_get_sub_node_from_port_phyid(int port_phyid, int *node);
/* Whether the resolved port can switch its medium. 0; -1 for a null output
 * or an unknown port. */
DM_API int dm_get_port_medium_switch(int phyid, bool *medium_switch);
/* Medium (dm_port_medium_type_t) of a port: a global phyid is resolved in the
 * port table; a local one (device field 0, forms 6 and 8) is looked up in
 * this card's local port table. 0; -1 for a null output, a phyid of another
 * form ("invalid port phyid!"), or an unknown port. */
DM_API int dm_get_port_medium_type(int phyid, int *medium_type);
/* Port type (dm_port_type_t) of a global or local phyid, as above. */
DM_API int dm_get_port_type(int phyid, int *eth_type);
/* True when the resolved port is on this device (dm_get_my_devid()); false
 * otherwise and when the port is unknown. */
DM_API bool dm_port_is_on_local_device(int phyid);
/* Number of front ports of the card at `node`: the card-type configuration's
 * count for the card type the host reports there. The count; -1 when the
 * host knows no card there ("can not find node!") or the card type is not
 * configured ("invalid card type(%d)!"). */
DM_API int dm_get_card_port_num(int node);
/* The mod_port_phyid of the port on chip port `port` of chip `unit` of the
 * card in `slot` of device `devid` (sub-slot 0). Each value is cut to its
 * field (6, 6, 3 and 9 bits): port 512 names chip port 0. 0; -1 for a null
 * output, an unknown port, or a chip without an allocated chip ID. */
DM_API int dm_get_phyid_by_slot_unit_port(int devid, int slot, int unit, int port, int *phyid);
/* The mod_port_phyid of local port `lport` of the card in `slot` of device
 * `devid`. The values are not cut: each must be below 256, or it spills into
 * the next field of the slot_lport_phyid looked up. 0; -1 as above. */
DM_API int dm_get_phyid_by_slot_lport(int devid, int slot, int lport, int *phyid);

/* True when `llcb_type` is one of the supported Ethernet link-layer types:
 * 6, 7, 8, 9, 10, 11, 49, 50, 51 (not the management types 28 and 41).
 * Verbose trace "llcb_type:%d, ret:%d". Any thread. */
DM_API bool dm_is_llcb_type_support(int llcb_type);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_PORT_LOOKUP_H */
