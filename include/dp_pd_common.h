/*
 * dp_pd_common.h - payloads of the data-plane messages of this library.
 *
 * Every record here is a wire format shared with the data-plane master:
 * native byte order of the control processor (little-endian), natural
 * alignment, booleans one byte (0 or 1). Records are copied with memcpy
 * wherever they cross a boundary. Each size and offset is checked below.
 */
#ifndef DP_PD_COMMON_H
#define DP_PD_COMMON_H

#include <stddef.h>
#include <stdint.h>

#include "dp_common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Port types (field `type` of a port record, `type` of a conversion entry). */
typedef enum {
    PORT_FAST_ETHERNET = 0,
    PORT_GIGABIT_ETHERNET = 1,
    PORT_TGIGABIT_ETHERNET = 2,
    PORT_FOGIGABIT_ETHERNET = 3,
    PORT_HUGIGABIT_ETHERNET = 4,
    PORT_VIRTUAL_MGMT = 5,
    PORT_MGMT = 6,
    PORT_FC = 7,
    PORT_TFGIGABIT_ETHERNET = 8,
    PORT_FIFTYGIGABIT_ETHERNET = 9,
    PORT_THGIGABIT_ETHERNET = 10,
    PORT_FHGIGABIT_ETHERNET = 11,
    PORT_END = 12,
} dm_port_type_t;

/* Port media. */
typedef enum {
    PORT_MEDIUM_FIBER = 0,
    PORT_MEDIUM_COPPER = 1,
    PORT_MEDIUM_FIBER_COPPER = 2, /* a combo port with both media */
} dm_port_medium_type_t;
/* The same enumeration under its other name. */
typedef dm_port_medium_type_t dm_port_medium_type_e;

/* Kinds of card (node). */
typedef enum {
    DM_TYPE_UNKNOWN = 0,
    DM_TYPE_BOX = 1,
    DM_TYPE_MB = 2,
    DM_TYPE_LC = 3,
    DM_TYPE_SUB_LC = 4,
    DM_TYPE_SFC = 5,
    DM_TYPE_MSC = 6,
} dm_node_type_e;

#define DP_LIB_SPLIT_MODE_MAX 4   /* modes of one split description */
#define DP_LIB_SPLIT_CHILD_MAX 32 /* children of all modes together */

/* Split description of a parent port (42 bytes). */
typedef struct {
    uint8_t split_mode_num;                             /* modes described, 0..4 */
    uint8_t def_split_mode;                             /* id of the default mode */
    uint8_t split_mode_id[DP_LIB_SPLIT_MODE_MAX];       /* id of mode i */
    uint8_t split_mode_port_num[DP_LIB_SPLIT_MODE_MAX]; /* children of mode i */
    uint8_t child_port_lport[DP_LIB_SPLIT_CHILD_MAX];   /* children's lports, by mode */
} dp_lib_port_split_info_t;

DP_STATIC_ASSERT(sizeof(dp_lib_port_split_info_t) == 42, "split info is 42 bytes");
DP_STATIC_ASSERT(offsetof(dp_lib_port_split_info_t, split_mode_id) == 2, "split_mode_id at 2");
DP_STATIC_ASSERT(offsetof(dp_lib_port_split_info_t, split_mode_port_num) == 6, "port_num at 6");
DP_STATIC_ASSERT(offsetof(dp_lib_port_split_info_t, child_port_lport) == 10, "children at 10");

/* Port record, payload of DP_LIB_MSG_PORT_INFO (124 bytes). */
typedef struct {
    int32_t ifx;                         /* interface index; 0 means none assigned yet */
    int32_t phyid;                       /* the port's dm_phyid: primary key of the port table */
    int32_t ss_phyid;                    /* the port's slot_lport_phyid (form 6) */
    int32_t node;                        /* node of the card whose chip carries the port */
    int32_t devid;                       /* device number */
    int32_t slotid;                      /* slot number */
    int32_t subslotid;                   /* sub-slot number */
    int32_t portid;                      /* local port number on the card */
    int32_t l_chipid;                    /* unit: index of the switch chip on its card */
    int32_t g_chipid;                    /* global chip ID; 0 means not known yet */
    int32_t chip_portid;                 /* port number on the chip */
    uint8_t port_switch;                 /* boolean: the port can switch its medium */
    uint8_t pad0[3];                     /* ignored */
    int32_t medium_type;                 /* dm_port_medium_type_t */
    int32_t type;                        /* dm_port_type_t */
    uint8_t poe_support;                 /* boolean: the port supplies power over Ethernet */
    uint8_t pad1[3];                     /* ignored */
    int32_t lsm_key;                     /* the port's key in the interface manager's view */
    int32_t lsm_user_slot;               /* slot under which the interface manager presents it */
    int32_t lsm_user_port;               /* port under which the interface manager presents it */
    uint8_t is_parent;                   /* boolean: the port can be split into child ports */
    uint8_t pad2[3];                     /* ignored */
    int32_t subcard_node;                /* node of the sub-card that carries the port */
    dp_lib_port_split_info_t split_info; /* split description, if a parent */
    uint8_t reserved;                    /* reserved */
    uint8_t pad3;                        /* ignored */
} dp_lib_port_t;

DP_STATIC_ASSERT(sizeof(dp_lib_port_t) == 124, "dp_lib_port_t is 124 bytes");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, phyid) == 4, "phyid at 4");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, ss_phyid) == 8, "ss_phyid at 8");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, node) == 12, "node at 12");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, devid) == 16, "devid at 16");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, slotid) == 20, "slotid at 20");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, subslotid) == 24, "subslotid at 24");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, portid) == 28, "portid at 28");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, l_chipid) == 32, "l_chipid at 32");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, g_chipid) == 36, "g_chipid at 36");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, chip_portid) == 40, "chip_portid at 40");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, port_switch) == 44, "port_switch at 44");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, medium_type) == 48, "medium_type at 48");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, type) == 52, "type at 52");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, poe_support) == 56, "poe_support at 56");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, lsm_key) == 60, "lsm_key at 60");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, lsm_user_slot) == 64, "lsm_user_slot at 64");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, lsm_user_port) == 68, "lsm_user_port at 68");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, is_parent) == 72, "is_parent at 72");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, subcard_node) == 76, "subcard_node at 76");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, split_info) == 80, "split_info at 80");
DP_STATIC_ASSERT(offsetof(dp_lib_port_t, reserved) == 122, "reserved at 122");

/* Interface-index change, payload of DP_LIB_MSG_PORT_IFX (8 bytes). */
typedef struct {
    int32_t phyid; /* the port's dm_phyid */
    int32_t ifx;   /* the new interface index; 0 takes the port out of the index */
} dp_lib_port_ifx_msg_t;

DP_STATIC_ASSERT(sizeof(dp_lib_port_ifx_msg_t) == 8, "ifx msg is 8 bytes");

/* A port and the lport range related to it (12 bytes). */
typedef struct {
    int32_t major_port;        /* the port */
    int32_t child_lport_start; /* first lport of the related range */
    int32_t child_lport_end;   /* last lport of the related range */
} dp_lib_relate_port_t;

#define DP_LIB_CARD_UNIT_MAX 8    /* chips (units) a card-type record describes */
#define DP_LIB_CARD_LPORT_MAX 256 /* local port numbers a card-type record describes */
#define DP_LIB_CARD_NAME_LEN 32   /* bytes of a card name, NUL included */
#define DP_LIB_CARD_RELATE_MAX 32 /* related port ranges a card-type record holds */

/* Card-type record, payload of DP_LIB_MSG_CARD_CFG (2036 bytes). */
typedef struct {
    int32_t card_type;                                /* key of the record */
    int32_t port_num;                                 /* front ports of the card */
    int32_t chip_num;                                 /* switch chips (units), at most 8 */
    int32_t chip_types[DP_LIB_CARD_UNIT_MAX];         /* chip type of unit u */
    char name[DP_LIB_CARD_NAME_LEN];                  /* card name, NUL-terminated */
    uint8_t poe_support;                              /* boolean: the card supplies PoE */
    uint8_t pad0[3];                                  /* not read */
    int32_t node_type;                                /* dm_node_type_e of such cards */
    int8_t lport_unit[DP_LIB_CARD_LPORT_MAX];         /* unit of lport l; negative: none */
    uint8_t lport_poe_support[DP_LIB_CARD_LPORT_MAX]; /* boolean: lport l supplies PoE */
    int32_t chip_cport_max[DP_LIB_CARD_UNIT_MAX];     /* highest chip port used on unit u */
    int32_t chip_port[DP_LIB_CARD_LPORT_MAX];         /* chip port of lport l; negative: none */
    dp_lib_relate_port_t relate_port[DP_LIB_CARD_RELATE_MAX]; /* related port ranges */
} dp_lib_card_type_info_t;

DP_STATIC_ASSERT(sizeof(dp_lib_card_type_info_t) == 2036, "card type record is 2036 bytes");
DP_STATIC_ASSERT(offsetof(dp_lib_card_type_info_t, chip_types) == 12, "chip_types at 12");
DP_STATIC_ASSERT(offsetof(dp_lib_card_type_info_t, name) == 44, "name at 44");
DP_STATIC_ASSERT(offsetof(dp_lib_card_type_info_t, poe_support) == 76, "poe_support at 76");
DP_STATIC_ASSERT(offsetof(dp_lib_card_type_info_t, node_type) == 80, "node_type at 80");
DP_STATIC_ASSERT(offsetof(dp_lib_card_type_info_t, lport_unit) == 84, "lport_unit at 84");
DP_STATIC_ASSERT(offsetof(dp_lib_card_type_info_t, lport_poe_support) == 340, "poe at 340");
DP_STATIC_ASSERT(offsetof(dp_lib_card_type_info_t, chip_cport_max) == 596, "cport_max at 596");
DP_STATIC_ASSERT(offsetof(dp_lib_card_type_info_t, chip_port) == 628, "chip_port at 628");
DP_STATIC_ASSERT(offsetof(dp_lib_card_type_info_t, relate_port) == 1652, "relate at 1652");

/* Chip-type record, payload of DP_LIB_MSG_CHIP_CFG (16 bytes). */
typedef struct {
    int32_t chip_type;    /* key of the record */
    int32_t chip_family;  /* family of the chip type */
    int32_t invalid_port; /* chip port number that means no port */
    int32_t cmic_port;    /* chip port of the CPU interface */
} dp_lib_chip_info_t;

DP_STATIC_ASSERT(sizeof(dp_lib_chip_info_t) == 16, "chip record is 16 bytes");

/* One local port of this card (52 bytes). */
typedef struct {
    int32_t lport_phyid; /* key: unit in bits 11..9, chip port in 8..0; 0: not indexed */
    uint8_t lport;       /* local port number on this card */
    uint8_t medium_type; /* dm_port_medium_type_t */
    uint8_t type;        /* dm_port_type_t */
    uint8_t is_parent;   /* boolean: the port can be split */
    uint8_t reserved[2]; /* not read */
    dp_lib_port_split_info_t split_info; /* split description */
} dp_lib_lport_t;

DP_STATIC_ASSERT(sizeof(dp_lib_lport_t) == 52, "local port record is 52 bytes");
DP_STATIC_ASSERT(offsetof(dp_lib_lport_t, lport) == 4, "lport at 4");
DP_STATIC_ASSERT(offsetof(dp_lib_lport_t, is_parent) == 7, "is_parent at 7");
DP_STATIC_ASSERT(offsetof(dp_lib_lport_t, split_info) == 10, "split_info at 10");

/* Head of DP_LIB_MSG_MY_LPORT_CFG: `lport_num` records of dp_lib_lport_t follow. */
typedef struct {
    int32_t lport_num; /* number of records that follow */
} dp_lib_my_lport_msg_t;

#define DP_LIB_MY_LPORT_HEAD_LEN 4 /* bytes of dp_lib_my_lport_msg_t */

/* Management-port interface index, payload of DP_LIB_MSG_PHY_MGMT_IFX (16 bytes). */
typedef struct {
    int32_t dev_id;     /* device id, 1 or 2 */
    uint32_t ifx;       /* interface index; 0 clears the entry */
    int32_t lport;      /* management port number, 0 or 1 */
    uint8_t mgmt_mode;  /* new management mode */
    uint8_t resevd1[3]; /* reserved, not read */
} dp_lib_phy_mgmt_ifx_msg_t;

DP_STATIC_ASSERT(sizeof(dp_lib_phy_mgmt_ifx_msg_t) == 16, "mgmt msg is 16 bytes");
DP_STATIC_ASSERT(offsetof(dp_lib_phy_mgmt_ifx_msg_t, mgmt_mode) == 12, "mgmt_mode at 12");

/* One pre-installed card (4 bytes). */
typedef struct {
    uint8_t dev;     /* device number */
    uint8_t slot;    /* slot */
    uint8_t sslot;   /* sub-slot */
    uint8_t reserve; /* not interpreted */
} dm_per_inst_card_info_t;

#define DP_LIB_PER_INST_MAX 256 /* entries of a pre-installed card list */

/* Pre-installed card list, payload of DP_LIB_MSG_PORT_PRE_INST_DONE (1028 bytes). */
typedef struct {
    int32_t len;                                       /* valid entries in info, at most 256 */
    dm_per_inst_card_info_t info[DP_LIB_PER_INST_MAX]; /* the cards */
} dp_lib_per_inst_info_t;

DP_STATIC_ASSERT(sizeof(dp_lib_per_inst_info_t) == 1028, "pre-inst list is 1028 bytes");

/* One port-conversion entry (8 bytes). */
typedef struct {
    int32_t phyid; /* the port, as a phyid */
    int32_t type;  /* dm_port_type_t the port is converted to */
} dm_convert_cfg_t;

DP_STATIC_ASSERT(sizeof(dm_convert_cfg_t) == 8, "conversion entry is 8 bytes");

/* Head of a conversion-list chunk (messages 9 and 12):
 * (cfg_max - cfg_min + 1) dm_convert_cfg_t entries follow. */
typedef struct {
    int32_t cfg_min; /* index in the whole list of the chunk's first entry */
    int32_t cfg_max; /* index of the chunk's last entry, inclusive */
} dp_lib_fc_cfg_info_t;

#define DP_LIB_FC_CFG_HEAD_LEN 8 /* bytes of dp_lib_fc_cfg_info_t before its entries */

#ifdef __cplusplus
}
#endif

#endif /* DP_PD_COMMON_H */
