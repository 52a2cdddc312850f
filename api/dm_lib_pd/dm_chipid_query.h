/*
 * dm_chipid_query.h - chip-ID allocation queries, fixed chip IDs and system ports.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_CHIPID_QUERY_H
#define DM_LIB_PD_CHIPID_QUERY_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Chip-ID queries.
 *
 * They answer from the mirror of the address manager's allocation (global
 * chip IDs 0..2047, allocated per global slot of devices 1 and 2, slots
 * 0..31). A slot's record lists its IDs chip by chip: chip `unit` owns the
 * idnum_per_unit IDs from index idnum_per_unit x unit on, and the card has
 * id_num / idnum_per_unit whole chips (rounded down).
 *
 * Results: 0 success; -2 a bad argument, a node outside the table (a card
 * in a sub-slot) or a unit beyond the card's chips; -3 the slot has no
 * allocation or the ID is not allocated; -4 the caller's array is too
 * small. Outputs are written only on success. A count that carries the
 * caller's capacity is read on entry and holds the number written on
 * return. A node of a device other than 1 or 2 is answered as the same slot
 * of device 1 (the slot encoding holds only those two).
 *
 * Threads: any thread, at any time after load. Each holds the allocation's
 * read lock only while it copies its answer out; none calls the host while
 * holding it. Failures print a diagnostic (error for bad arguments, warning
 * for "not alloc" answers); successes print a verbose trace.
 */

/* Every allocated ID in ascending order as {chipid, node of its slot, unit};
 * node_type is left untouched. *chipid_num: capacity on entry (records),
 * number written on return (0 when nothing is allocated). -2 null argument;
 * -4 capacity below the number of allocated IDs. */
DM_API int dm_get_alloced_chipid(dm_chipid_alloc_t *chipid_array, int *chipid_num);

/* First ID of the card at `node` (sub-slot 0 only). -2 for a sub-slot node,
 * a node outside the table or a null `chipid`; -3 no allocation. */
DM_API int dm_get_first_chipid_from_node(int node, int *chipid);

/* First ID of chip `unit` of the card at `node`. -2 for a negative unit or
 * node, a null `chipid`, a node outside the table or a unit beyond the
 * card's whole chips; -3 no allocation. */
DM_API int dm_get_first_chipid_from_unit_node(int unit, int node, int *chipid);

/* The same for this card (the host's own node). */
DM_API int dm_get_first_chipid_from_local_unit(int unit, int *chipid);

/* First ID of every chip of the card, chip 0 first. *chipid_num: capacity
 * on entry, number of chips on return. -2 null argument or node outside the
 * table; -3 no allocation; -4 capacity below the number of chips. */
DM_API int dm_get_chipid_range_by_node(int node, int *chipid, int *chipid_num);

/* All IDs of chip `unit` of the card, in record order. *chipid_num:
 * capacity on entry, IDs per chip on return. -2 negative unit, null
 * argument, node outside the table or unit beyond the card's chips; -3 no
 * allocation; -4 capacity below the IDs per chip. */
DM_API int dm_get_chipid_from_unit_node(int unit, int node, int *chipid, int *chipid_num);

/* Node of the slot owning `chipid`, and the owning chip. -2 an ID outside
 * 0..2047 or a null output; -3 the ID is not allocated. */
DM_API int dm_get_node_unit_from_chipid(int chipid, int *node, int *unit);

/* True when `chipid` is allocated to this card's slot; false otherwise,
 * for an unallocated ID (warning) and for an ID outside 0..2047 (error). */
DM_API bool dm_is_local_chipid(int chipid);

/* Every allocated ID whose slot belongs to device `devid`, ascending.
 * `chipid` must have room for 2048 entries (its size is not passed);
 * *chipid_num is output only. -2 negative devid or null argument. */
DM_API int dm_get_chipid_range_by_dev(int devid, int *chipid, int *chipid_num);

/* The system's fixed special IDs, independent of the allocation: no table,
 * no lock, any thread. */

/* The chip ID that means no chip: 25. Never fails, prints nothing. */
DM_API int dm_get_system_invalid_chipid(void);

/* The system's reserved chip IDs, inclusive: *lower = *upper = 26. 0; -2
 * with error "input arguments error" for a null output (nothing written). */
DM_API int dm_get_system_reserved_chipid_range(int *lower, int *upper);

/* The chip IDs reserved for zones, inclusive: *lower = 1, *upper = 8. 0; -2
 * with error "input arguments error" for a null output (nothing written). */
DM_API int dm_get_zone_reserved_chipid_range(int *lower, int *upper);

/*
 * Fixed chip IDs and system ports: pure arithmetic, no table, no lock; any
 * thread. Failures print an error and return -2.
 *
 *   fixed Dune ID = 8 x ((dev - 1) x 32 + slot) + 27 + unit
 *   sysport       = (dev - 1) x 5120 + (slot - 1) x 320 + unit x 40 + port
 */

/* The fixed ID of chip `unit` in device `dev` (1..2), slot `slot` (0..31).
 * `unit` is not checked (unit 9 gives the next slot's second ID). -2 for a
 * device or slot out of range and for the main-board slots 30 and 31. */
DM_API int dm_get_dune_static_chipid(int dev, int slot, int unit);

/* Device, slot and unit of a fixed ID 27..2047. -2 for an ID out of range,
 * a null output, or an ID beyond slot 31 of device 2 (539 and up; *unit is
 * then already written). Main-board slots decode (523..538). */
DM_API int dm_get_dev_slot_unit_by_dune_chipid(int chipid, int *dev, int *slot, int *unit);

/* System port of device 1..2, slot 0..31, unit 0..7, port 0..31. Slot 0
 * lands 320 below slot 1 (negative for device 1) and slots 17..31 in the
 * next device's range; the round trip holds for slots 1..16. -2 for any
 * argument out of range or a null output. */
DM_API int dm_get_sysport_from_dev_slot_unit_port(int dev, int slot, int unit, int port,
                                                  int *sysport);

/* Device, slot, unit and port of a system port 0..20479 (ports 32..39 and
 * devices 3 and 4 decode too). -2 out of range or a null output. */
DM_API int dm_get_dev_slot_unit_port_from_sysport(int sysport, int *dev, int *slot, int *unit,
                                                  int *port);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_CHIPID_QUERY_H */
