/*
 * dm_split_port.h - child ports of split (parent) ports: local, global and _gms families.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_SPLIT_PORT_H
#define DM_LIB_PD_SPLIT_PORT_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

DM_API int dm_local_get_child_unit_port_by_spe_mode(int lport, int mode, int *unit, int *child_port, int *child_port_num);
DM_API int dm_local_get_child_unit_port_from_lport(int lport, int *unit, int *child_port, int *child_port_num);
DM_API int dm_local_get_child_unit_port_with_all_mode(int lport, int *unit, int *mode_id, int *child_port, int *port_num);
DM_API int dm_get_child_unit_port_by_spe_mode(int node, int lport, int mode, int *unit, int *child_port, int *child_port_num);
DM_API int dm_get_child_unit_port_from_node_lport(int node, int lport, int *unit, int *child_port, int *child_port_num);
DM_API int dm_get_child_unit_port_with_all_mode(int node, int lport, int *unit, int *mode_id, int *port_num, int *child_port);
DM_API int dm_get_child_unit_port_by_spe_mode_gms(int node, int lport, int mode, int *unit, int *child_port, int *child_port_num);
DM_API int dm_get_child_unit_port_from_node_lport_gms(int node, int lport, int *unit, int *child_port, int *child_port_num);
DM_API int dm_get_child_unit_port_with_all_mode_gms(int node, int lport, int *unit, int *mode_id, int *port_num, int *child_port);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_SPLIT_PORT_H */
