/*
 * dp_common.h - the data-plane message header shared with the data-plane
 * master and the host library.
 *
 * Every data-plane message is a 16-byte header followed by `len` payload
 * bytes, in the control processor's native byte order (little-endian).
 * The header names the message (`msgid`), the library module it is for and
 * the payload length; the payload layouts are in dp_pd_common.h.
 */
#ifndef DP_COMMON_H
#define DP_COMMON_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
#define DP_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#else
#define DP_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* Library modules a message can be addressed to. */
typedef enum {
    DP_LIB_MOD_PI = 0, /* the product-independent host library */
    DP_LIB_MOD_PD = 1, /* this library */
} dp_lib_module_t;

/* Message identifiers of the product-dependent module. */
typedef enum {
    DP_LIB_MSG_PORT_INFO = 0,           /* dp_lib_port_t */
    DP_LIB_MSG_PORT_IFX = 1,            /* dp_lib_port_ifx_msg_t */
    DP_LIB_MSG_PORT_RMV = 2,            /* int32 dm_phyid */
    DP_LIB_MSG_CARD_CFG = 3,            /* dp_lib_card_type_info_t */
    DP_LIB_MSG_CHIP_CFG = 4,            /* dp_lib_chip_info_t */
    DP_LIB_MSG_MY_LPORT_CFG = 5,        /* dp_lib_my_lport_msg_t + records */
    DP_LIB_MSG_PORT_VALID = 6,          /* request-reply: dm_port_valid_t */
    DP_LIB_MSG_PHY_MGMT_IFX = 7,        /* dp_lib_phy_mgmt_ifx_msg_t */
    DP_LIB_MSG_FC_START_CFG_BEGIN = 8,  /* int32 num */
    DP_LIB_MSG_FC_START_CFG = 9,        /* dp_lib_fc_cfg_info_t + entries */
    DP_LIB_MSG_FC_START_CFG_OVER = 10,  /* not read */
    DP_LIB_MSG_FC_SAVE_CFG_BEGIN = 11,  /* int32 num */
    DP_LIB_MSG_FC_SAVE_CFG = 12,        /* dp_lib_fc_cfg_info_t + entries */
    DP_LIB_MSG_FC_SAVE_CFG_OVER = 13,   /* not read */
    DP_LIB_MSG_PORT_PRE_INST_DONE = 15, /* dp_lib_per_inst_info_t */
    DP_LIB_PD_MSG_MAX = 16,
} dp_lib_pd_msg_e;

/* Debug show parameters of the host's show command. */
typedef enum {
    DP_LIB_SHOW_HW_ONLINE = 0,
    DP_LIB_SHOW_ALL_DEV_NAME = 1,
    DP_LIB_DBG_OPEN_TEST_DBG_LEVEL = 2,
    DP_LIB_DBG_CLOSE_TEST_DBG_LEVEL = 3,
    DP_LIB_DBG_GET_TEST_DBG_LEVEL = 4,
    DP_LIB_DBG_SHOW_MY_DEVINFO = 5,
    DP_LIB_DBG_SHOW_ALL_PORT = 6,
    DP_LIB_DBG_SHOW_CARD_POWER_ST = 7,
    DP_LIB_DBG_SHOW_PWR_ENV_TEMP = 8,
    DP_LIB_DBG_SHOW_MGMT = 9,
    DP_LIB_DBG_SHOW_FC_START_CFG = 10,
    DP_LIB_DBG_SHOW_FC_SAVE_CFG = 11,
    DP_LIB_FC_DBG_LEVEL = 12,
    DP_LIB_DBG_SHOW_SUBSLOT_INFO = 13,
    DP_LIB_DBG_SHOW_DEV_INFO = 15,
    DP_LIB_DBG_SHOW_MEM_INFO = 16,
    DP_LIB_DBG_OPEN_CLOSE_MEM_DBG = 17,
    DP_LIB_DBG_SHOW_CPU_INFO = 18,
    DP_LIB_DBG_OPEN_CLOSE_CPU_DBG = 19,
    DP_LIB_DBG_SHOW_FS_INFO = 20,
    DP_LIB_DBG_OPEN_CLOSE_FS_DBG = 21,
    DP_LIB_DBG_SHOW_UPTIME = 22,
    DP_LIB_SHOW_PARAM_MAX = 23,
} dp_lib_show_para_e;

/* Flag of the host's batch-synchronisation callback. */
typedef enum {
    SYNC_BATCH_BEGIN = 0,
    SYNC_BATCH_OVER = 1,
} sync_batch_flag_e;

/* Header of every data-plane message (16 bytes). */
typedef struct {
    int32_t ver;    /* format version; not examined */
    int32_t msgid;  /* message identifier, dp_lib_pd_msg_e */
    int32_t module; /* dp_lib_module_t; data messages for this library carry 1 */
    int32_t len;    /* payload length in bytes */
} dp_lib_msg_h_t;

DP_STATIC_ASSERT(sizeof(dp_lib_msg_h_t) == 16, "dp_lib_msg_h_t is 16 bytes");
DP_STATIC_ASSERT(offsetof(dp_lib_msg_h_t, msgid) == 4, "msgid at 4");
DP_STATIC_ASSERT(offsetof(dp_lib_msg_h_t, module) == 8, "module at 8");
DP_STATIC_ASSERT(offsetof(dp_lib_msg_h_t, len) == 12, "len at 12");

/* Payload of the port-validity request DP_LIB_MSG_PORT_VALID (12 bytes). */
typedef struct {
    int32_t node;       /* the card's node identifier */
    int32_t lport;      /* local port number on that card */
    uint8_t valid;      /* boolean: the port is valid */
    uint8_t padding[3]; /* ignored */
} dm_port_valid_t;

DP_STATIC_ASSERT(sizeof(dm_port_valid_t) == 12, "dm_port_valid_t is 12 bytes");
DP_STATIC_ASSERT(offsetof(dm_port_valid_t, lport) == 4, "lport at 4");
DP_STATIC_ASSERT(offsetof(dm_port_valid_t, valid) == 8, "valid at 8");

#ifdef __cplusplus
}
#endif

#endif /* DP_COMMON_H */
