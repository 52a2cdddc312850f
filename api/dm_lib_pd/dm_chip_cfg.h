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

/*
 * Chip-type records.
 *
 * One dp_lib_chip_info_t per chip type, announced by the data-plane master
 * (data message 4) and kept for the life of the process. The chip type of a
 * unit of a card comes from the card type's record (dm_card_table.h); units
 * are 0..7 whatever a card type claims. Lookups copy the 16-byte record
 * under the table's read lock and answer from the copy; no query holds two
 * tables' locks at once.
 */

/* Family of chip type `type`, as announced (it may be negative); -1 for an
 * unknown type, with no message above verbose level. */
DM_API int dm_get_chip_family(int type);

/* Chip port of the CPU interface of chip type `type`; -1 for an unknown
 * type, with no message above verbose level. */
DM_API int dm_get_chip_cmic_port_by_type(int type);

/* Family of the chip at unit `unit` of this card. -1 with an error when this
 * card's chips are unknown ("Dm_get_my_lchips error(%d)!"), the unit is
 * negative or not below the chip count ("input arguments error, ..."), or
 * the chip type is unknown or its family negative ("dm_get_chip_family
 * error, ..."). */
DM_API int dm_get_lchip_family_by_unit(int unit);

/* The chip port that unit `unit` of this card treats as no port. Answers 0
 * on every failure, never -1: this card is not a line card or MSC ("not lc
 * or msc!"), its type is unknown, the unit is not one of its chips, or the
 * chip type is unknown. */
DM_API int dm_get_invalid_port(int unit);

/* The ports of global chip `chipid` that the port table knows, in local-port
 * order, as mod_port_phyids (form 7). *port_phyids becomes a new malloc'ed
 * array (room for 256) that the caller frees, *port_num the count; a chip
 * without known ports answers 0 with count 0 and a null array. -1 for a null
 * argument, a chip ID outside 0..0xFFFF (it cannot be written into a
 * mod_port_phyid), a chip ID not allocated, a card not present or of an
 * unknown type, a unit beyond the card's chips, or no memory. *port_num is
 * 0 after every failure (when it is not null); *port_phyids is untouched by
 * failures before the allocation. */
DM_API int dm_get_port_bmp_from_chipid(int chipid, int **port_phyids, int *port_num);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_CHIP_CFG_H */
