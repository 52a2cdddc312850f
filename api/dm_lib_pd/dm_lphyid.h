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

DM_API int dm_phyid_is_global(int phyid, bool *is_global);
DM_API int dm_get_lphyid_from_phyid(int phyid);
DM_API int dm_get_phyid_from_lphyid(int lphyid);
DM_API int dm_get_lphyid_from_unit_port(int unit, int port);
DM_API int dm_get_unit_port_from_lphyid(int lphyid, int *unit, int *port);
DM_API int dm_local_get_pinfo_by_lphyid(int lphyid, dp_lib_lport_t *info);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_LPHYID_H */
