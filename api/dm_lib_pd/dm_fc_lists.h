/*
 * dm_fc_lists.h - startup and saved port-conversion (Ethernet / Fibre Channel) lists.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_FC_LISTS_H
#define DM_LIB_PD_FC_LISTS_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Each list is an array of {phyid, type} entries that the data-plane master
 * sends as a transfer (begin, chunks, over). A list becomes visible whole at
 * its over (device event DEV_MSG_FC_START_CFG_OVER or DEV_MSG_FC_SAVE_CFG
 * then follows); from the next begin until the following over it reads as
 * empty. Entries that no chunk of the transfer wrote read as {0, 0}.
 *
 * The getters return a copy of the committed list: 0 with *cfg a new heap
 * array that the caller frees with free() and *num its entry count; 0 with
 * *cfg null and *num 0 when the list is empty or not yet committed; -1 for a
 * null argument (nothing written, no message) or when memory runs out
 * ("alloc fail" warning; *cfg null, *num 0).
 *
 * Threads: any thread, at any time after load; the copy is taken under the
 * lists' mutex, so a reader sees either a whole committed list or an empty
 * one, never a transfer half done. Diagnostics are the "[FC ...]" messages,
 * printed under the level set by the "fcdbg " option (silent by default).
 */

/* A copy of the committed startup list (its commit raises
 * DEV_MSG_FC_START_CFG_OVER), with the results above. `cfg` receives the
 * array, `num` its entry count. */
DM_API int dm_get_fc_startup_cfg(dm_convert_cfg_t **cfg, int *num);

/* A copy of the committed saved list (its commit raises
 * DEV_MSG_FC_SAVE_CFG), with the results above. */
DM_API int dm_get_fc_save_cfg(dm_convert_cfg_t **cfg, int *num);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_FC_LISTS_H */
