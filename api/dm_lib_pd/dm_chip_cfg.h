/*
 * dm_chip_cfg.h - chip-type configuration queries and the ports of a chip.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_CHIP_CFG_H
#define DM_LIB_PD_CHIP_CFG_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

DM_API int dm_get_chip_family(int type);
DM_API int dm_get_chip_cmic_port_by_type(int type);
DM_API int dm_get_lchip_family_by_unit(int unit);
DM_API int dm_get_invalid_port(int unit);
DM_API int dm_get_port_bmp_from_chipid(int chipid, int **port_phyids, int *port_num);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_CHIP_CFG_H */
