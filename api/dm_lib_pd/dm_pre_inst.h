/*
 * dm_pre_inst.h - whether a port is on a pre-installed card.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_PRE_INST_H
#define DM_LIB_PD_PRE_INST_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/* 0 and *is_pre_inst; -1 null argument; -2 list not received yet; -3 port not found. */
DM_API int dm_get_pre_inst_by_phyid(int phyid, bool *is_pre_inst);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_PRE_INST_H */
