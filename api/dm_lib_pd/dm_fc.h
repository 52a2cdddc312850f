/*
 * dm_fc.h - startup and saved port-conversion (Ethernet / Fibre Channel) lists.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_FC_H
#define DM_LIB_PD_FC_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A copy of the committed list: 0 with *cfg a new heap array (the caller
 * frees it) and *num its length, or 0 with *cfg null and *num 0 when the list
 * is empty; -1 on a null argument or when memory runs out. */
DM_API int dm_get_fc_startup_cfg(dm_convert_cfg_t **cfg, int *num);
DM_API int dm_get_fc_save_cfg(dm_convert_cfg_t **cfg, int *num);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_FC_H */
