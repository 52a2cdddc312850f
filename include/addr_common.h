/*
 * addr_common.h - chip-ID synchronisation records from the address manager.
 *
 * The address manager allocates global chip IDs per slot and synchronises
 * its allocation to every process through the host's address-manager client.
 * Wire formats, native byte order (little-endian).
 */
#ifndef ADDR_COMMON_H
#define ADDR_COMMON_H

#include <stddef.h>
#include <stdint.h>

#include "dp_common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* State of a slot's allocation. */
typedef enum {
    CHIPID_NONE = 0,  /* no IDs */
    CHIPID_VALID = 1, /* IDs allocated */
    CHIPID_LIMIT = 2,
    CHIPID_END = 3,
} slot_chipid_st_t;

/* Kind of synchronisation data. */
typedef enum {
    ADDR_LIB_BS_SYNC = 0,   /* batch: many records */
    ADDR_LIB_REAL_SYNC = 1, /* real time: one record */
    ADDR_LIB_DCM_READY_NOTIFY = 2,
    ADDR_LIB_SYNC_TYPE_END = 3,
} addr_lib_sync_type_t;

#define CHIPID_SLOT_ID_MAX 16 /* chip IDs one slot record can hold */

/* Allocation record of one global slot (48 bytes). */
typedef struct {
    int32_t status;                  /* slot_chipid_st_t */
    int32_t gslot;                   /* global slot, accepted 0..63 */
    int32_t card_type;               /* card type of the slot; only printed */
    uint16_t idnum_per_unit;         /* chip IDs per chip (unit) */
    uint16_t id_num;                 /* valid entries in id, at most 16 */
    uint16_t id[CHIPID_SLOT_ID_MAX]; /* the chip IDs; unit u from index u * idnum_per_unit */
} chipid_slot_t;

DP_STATIC_ASSERT(sizeof(chipid_slot_t) == 48, "chipid_slot_t is 48 bytes");
DP_STATIC_ASSERT(offsetof(chipid_slot_t, idnum_per_unit) == 12, "idnum_per_unit at 12");
DP_STATIC_ASSERT(offsetof(chipid_slot_t, id_num) == 14, "id_num at 14");
DP_STATIC_ASSERT(offsetof(chipid_slot_t, id) == 16, "id at 16");

/* Head of synchronisation data: `data_num` chipid_slot_t records follow. */
typedef struct {
    int32_t len;      /* total length, header included */
    int32_t type;     /* addr_lib_sync_type_t */
    int32_t data_num; /* number of records that follow */
} addr_lib_sync_head_t;

DP_STATIC_ASSERT(sizeof(addr_lib_sync_head_t) == 12, "sync head is 12 bytes");

/* Handlers the library registers with the host's address-manager client. */
typedef struct {
    void (*data_handle)(void *data_buf, int data_len); /* synchronisation data */
    void (*batch_handle)(int smooth_flag);             /* batch notification */
} addr_lib_pd_frame_t;

#ifdef __cplusplus
}
#endif

#endif /* ADDR_COMMON_H */
