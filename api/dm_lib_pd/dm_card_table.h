/*
 * dm_card_table.h - card-type configuration queries.
 *
 * Part of the dm_lib_pd query interface. Unless a function says otherwise:
 * results are 0 on success and -1 on failure; out-parameters are written only
 * on success; every function may be called from any thread at any time after
 * the library is loaded; records are copied out under the owning table's read
 * lock, and no pointer into a table is ever handed out.
 */
#ifndef DM_LIB_PD_CARD_TABLE_H
#define DM_LIB_PD_CARD_TABLE_H

#include <stdbool.h>

#include <dm_lib_pd/dm_types.h>

#ifdef __cplusplus
extern "C" {
#endif

/*
 * Card-type records.
 *
 * One dp_lib_card_type_info_t per card type, announced by the data-plane
 * master (data message 3) and kept for the life of the process; a type not
 * yet announced is unknown to every query. Each query copies the whole
 * record out under the table's read lock, releases it, then answers from
 * its copy. A record describes at most 8 chips (units 0..7) and lports
 * 0..255; a record that claims more than 8 chips is answered as 8 wherever
 * the answer goes with an 8-entry array.
 *
 * Diagnostics: an unknown type prints warning "can not find node!" twice
 * (once from the lookup, once from the query); bad arguments print warning
 * "param error!" unless a function says otherwise.
 */

/* Copies the whole 2036-byte record of card type `type` into *pinfo (the
 * caller's). 0; -1 for a null pinfo or an unknown type. */
DM_API int dm_lib_get_card_cfg_by_type(int type, dp_lib_card_type_info_t *pinfo);

/* Front ports of card type `type` (its port_num), or -1 when unknown. */
DM_API int dm_get_card_port_num_by_type(int type);

/* Switch chips of card type `card_type` (its chip_num, as announced), or -1
 * when unknown. */
DM_API int dm_get_switch_chip_num_by_card_type(int card_type);

/* Whether cards of type `card_type` supply power over Ethernet, in
 * *poe_support. 0; -1 for a null poe_support or an unknown type. */
DM_API int dm_get_poe_support_by_card_type(int card_type, bool *poe_support);

/* The lports of card type `card_type` that supply power over Ethernet, in
 * ascending order, written to port[]. *port_num: capacity on entry, which
 * must be at least 256 whatever the card has; count on return (0 when the
 * card has none). -1 for a null argument, a capacity below 256 (nothing
 * written) or an unknown type. */
DM_API int dm_get_poe_support_port(int card_type, int *port, int *port_num);

/* The chip types of card type `card_type`, unit 0 first: *chip_type becomes
 * a new malloc'ed array of 8 ints (entries at and above the chip count hold
 * whatever the record holds) that the caller frees; *chip_num the chip
 * count, at most 8. -1 for a null argument, no memory or an unknown type;
 * *chip_type is then null (or untouched for a null argument) and nothing
 * stays allocated. */
DM_API int dm_get_chip_type_by_card_type(int card_type, int **chip_type, int *chip_num);

/* The name of card type `card_type` into name[], a buffer of `len` bytes:
 * at most min(len, 32) - 1 characters and a terminating NUL (len 1 gives
 * ""). 0; -1 with error "Param err." for a null name or len <= 0, with
 * error "fail to get card cfg" for an unknown type. */
DM_API int dm_get_card_name_by_type(int card_type, char *name, int len);

/* Highest chip port used on unit `unit` (0..7) of this card's type; units
 * are not compared with the chip count. -1 with warning "param error" for
 * a unit outside 0..7, or when this card's type is unknown. */
DM_API int dm_get_max_port_by_unit(int unit);

/* This card's chip types: *units becomes a new malloc'ed array of 8 ints,
 * unit 0 first, that the caller frees (also when the result is 0). Returns
 * the chip count, at most 8 (0 is a success). -1 for a null units, no
 * memory, this card's type unknown to the host or to the table, or a
 * negative chip count; *units is then null and nothing stays allocated. */
DM_API int dm_get_my_lchips(int **units);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_CARD_TABLE_H */
