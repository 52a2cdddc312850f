/*
 * dm_chipid.h - chip-ID allocation queries, fixed chip IDs and system ports.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_CHIPID_H
#define DM_LIB_PD_CHIPID_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Chip-ID queries: 0 success; -2 bad argument or out of range; -3 not
 * allocated; -4 the caller's array is too small. */
DM_API int dm_get_alloced_chipid(dm_chipid_alloc_t *chipid_array, int *chipid_num);
DM_API int dm_get_first_chipid_from_node(int node, int *chipid);
DM_API int dm_get_first_chipid_from_unit_node(int unit, int node, int *chipid);
DM_API int dm_get_first_chipid_from_local_unit(int unit, int *chipid);
DM_API int dm_get_chipid_range_by_node(int node, int *chipid, int *chipid_num);
DM_API int dm_get_chipid_from_unit_node(int unit, int node, int *chipid, int *chipid_num);
DM_API int dm_get_node_unit_from_chipid(int chipid, int *node, int *unit);
DM_API bool dm_is_local_chipid(int chipid);
DM_API int dm_get_chipid_range_by_dev(int devid, int *chipid, int *chipid_num);
DM_API int dm_get_system_invalid_chipid(void);
DM_API int dm_get_system_reserved_chipid_range(int *lower, int *upper);
DM_API int dm_get_zone_reserved_chipid_range(int *lower, int *upper);

/* Fixed chip IDs and system ports: 0 (or the ID) on success, -2 on failure. */
DM_API int dm_get_dune_static_chipid(int dev, int slot, int unit);
DM_API int dm_get_dev_slot_unit_by_dune_chipid(int chipid, int *dev, int *slot, int *unit);
DM_API int dm_get_sysport_from_dev_slot_unit_port(int dev, int slot, int unit, int port, int *sysport);
DM_API int dm_get_dev_slot_unit_port_from_sysport(int sysport, int *dev, int *slot, int *unit, int *port);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_CHIPID_H */
