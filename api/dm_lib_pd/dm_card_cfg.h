/*
 * dm_card_cfg.h - card-type configuration queries.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_CARD_CFG_H
#define DM_LIB_PD_CARD_CFG_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

DM_API int dm_lib_get_card_cfg_by_type(int type, dp_lib_card_type_info_t *pinfo);
DM_API int dm_get_card_port_num_by_type(int type);
DM_API int dm_get_switch_chip_num_by_card_type(int card_type);
DM_API int dm_get_poe_support_by_card_type(int card_type, bool *poe_support);
DM_API int dm_get_poe_support_port(int card_type, int *port, int *port_num);
DM_API int dm_get_chip_type_by_card_type(int card_type, int **chip_type, int *chip_num);
DM_API int dm_get_card_name_by_type(int card_type, char *name, int len);
DM_API int dm_get_max_port_by_unit(int unit);
DM_API int dm_get_my_lchips(int **units);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_CARD_CFG_H */
