/*
 * dm_types.h - types shared by the whole query interface of dm_lib_pd.
 *
 * The packed identifiers (phyid, node, gslot, dm_phyid, ...) are plain ints;
 * their layouts and encoders are in dm_ids.h. Records handed to callers are
 * always copies the caller owns.
 */
#ifndef DM_LIB_PD_DM_TYPES_H
#define DM_LIB_PD_DM_TYPES_H

#include <stdbool.h>
#include <stdint.h>

#include <dp_pd_common.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Exported functions carry default visibility; everything else is hidden. */
#if defined(__GNUC__)
#define DM_API __attribute__((visibility("default")))
#else
#define DM_API
#endif

/* An interface index. */
typedef unsigned int IFINDEX;

/* Reduced port record filled by the port getters. */
typedef struct {
    int ifx;         /* interface index; 0 when none is known */
    int phyid;       /* the port's slot_lport_phyid (form 6) */
    int node;        /* node of the card whose chip carries the port */
    int devid;       /* device number */
    int slotid;      /* slot number */
    int subslotid;   /* sub-slot number */
    int portid;      /* local port number on the card */
    int g_chipid;    /* global chip ID */
    int l_chipid;    /* unit of the chip on its card */
    int chip_portid; /* port number on the chip */
} dm_port_t;

/* Device events and the device RPC. */
#define DEV_MSG_CHIPIP_ALLOC 1024            /* event; dm_chipid_alloc_t */
#define DEV_MSG_PORT_VALID 1025              /* RPC; dm_port_valid_t */
#define DEV_MSG_FC_START_CFG_OVER 1026       /* event; no data */
#define DEV_MSG_FC_SAVE_CFG 1027             /* event; no data */
#define DEV_MSG_PRE_INST_PORT_SYNC_DONE 1029 /* event; no data */

/* Header of a device event or RPC; `data_len` data bytes follow it. */
typedef struct {
    int32_t msg_id;   /* DEV_MSG_* */
    int32_t data_len; /* number of data bytes that follow */
} dev_msg_t;

DP_STATIC_ASSERT(sizeof(dev_msg_t) == 8, "dev_msg_t is 8 bytes");

/* The data bytes that follow a device message header. */
static inline void *dev_msg_data(dev_msg_t *msg) { return (void *)(msg + 1); }

/* Payload of DEV_MSG_CHIPIP_ALLOC (16 bytes). */
typedef struct {
    int32_t chipid;    /* the chip ID */
    int32_t node;      /* node of the slot that owns it */
    int32_t unit;      /* the chip on that card that owns it */
    int32_t node_type; /* dm_node_type_e; events carry DM_TYPE_BOX */
} dm_chipid_alloc_t;

DP_STATIC_ASSERT(sizeof(dm_chipid_alloc_t) == 16, "dm_chipid_alloc_t is 16 bytes");

/* The application's event handler: called on the library's event thread,
 * one event at a time; `msg` is valid only during the call. */
typedef int (*dev_event_handler)(dev_msg_t *msg);

/* The application's RPC handler: called on the requesting host thread; it
 * writes at most `buf_len` bytes into `ret_buf`, sets `*ret_len` and returns 0,
 * or returns non-zero. */
typedef int (*dev_rpc_handler)(dev_msg_t *msg, void *ret_buf, int buf_len, int *ret_len);

#ifdef __cplusplus
}
#endif

#endif /* DM_LIB_PD_DM_TYPES_H */
