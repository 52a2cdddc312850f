/*
 * dm_kdev.h - the contract between dm_lib_pd and the device-manager kernel
 * driver: the device file, the request code and the layout of its buffer,
 * and the interface manager's link-layer type of each port type.
 *
 * The library opens DM_KDEV_PATH, hands the driver a DM_KDEV_BUF_LEN-byte
 * buffer that starts with a dm_pd_msg_head_t and carries the question right
 * after it, and reads the driver's 32-bit answer back from the first four
 * bytes. The host stand-in answers the same requests from the same layout.
 */
#ifndef DM_KDEV_H
#define DM_KDEV_H

#include <stdint.h>

#include "dp_common.h"
#include "dp_pd_common.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The driver's device file, relative to the working directory. */
#define DM_KDEV_PATH "tmp/dm_dev"

/* The driver's one request code: read-write, type 'x', number 21, with a
 * 256-byte argument. */
#define DM_KDEV_REQUEST 0xC1007815UL

/* Bytes of every buffer handed to the driver: the size the request code
 * declares, so the driver's copy in and out stays inside whatever the
 * question's size. The bytes after the question are zero. */
#define DM_KDEV_BUF_LEN 256

DP_STATIC_ASSERT(((DM_KDEV_REQUEST >> 16) & 0x3FFF) == DM_KDEV_BUF_LEN,
                 "the request code declares the buffer's size");

/* The driver's questions (field dm_ioctl_msg_type of the head). */
typedef enum {
    DM_IOCTL_GET_PHYID_FROM_IFX = 0,     /* interface index -> key: question int32_t ifx */
    DM_IOCTL_GET_IFX_FROM_PORT_INFO = 1, /* port -> interface index: question dm_lsm_port_info_t */
    DM_IOCTL_MAX_PD_MSG_TYPE = 2,        /* one past the last question */
} dm_pd_ioctl_msg_type_t;

/* Head of the buffer; the question follows it. The driver writes its 32-bit
 * answer over dm_ioctl_msg_type and leaves the rest alone. */
typedef struct {
    uint32_t dm_ioctl_msg_type; /* dm_pd_ioctl_msg_type_t on the way in, the answer on return */
    int32_t data_len;           /* bytes of question that follow */
} dm_pd_msg_head_t;

DP_STATIC_ASSERT(sizeof(dm_pd_msg_head_t) == 8, "the head is 8 bytes");

/* A port as the interface manager knows it: the question of
 * DM_IOCTL_GET_IFX_FROM_PORT_INFO. */
typedef struct {
    int32_t lsm_key;   /* the port's key in the interface manager's view */
    int32_t llcb_type; /* its link-layer type, dm_llcb_type_t */
} dm_lsm_port_info_t;

DP_STATIC_ASSERT(sizeof(dm_lsm_port_info_t) == 8, "the port question is 8 bytes");

/* The interface manager's link-layer types of ports. */
typedef enum {
    LLCB_FASTETHERNET = 6,             /* Fast Ethernet */
    LLCB_GIGABITETHERNET = 7,          /* 1G */
    LLCB_TGIGABITETHERNET = 8,         /* 10G */
    LLCB_25G_ETHERNET = 9,             /* 25G */
    LLCB_FORTY_GIGABITETHERNET = 10,   /* 40G */
    LLCB_HUNDRED_GIGABITETHERNET = 11, /* 100G */
    LLCB_MGMT = 28,                    /* management port */
    LLCB_VIRTUAL_MGMT = 41,            /* virtual management port */
    LLCB_FIFTY_GIGABITETHERNET = 49,   /* 50G */
    LLCB_TH_GIGABITETHERNET = 50,      /* 200G */
    LLCB_FH_GIGABITETHERNET = 51,      /* 400G */
} dm_llcb_type_t;

/* The link-layer type of a port type (dm_port_type_t), or -1 for a type
 * that has none (PORT_FC, or a value out of range). */
static inline int dm_kdev_llcb_of_port_type(int port_type)
{
    static const int llcb[PORT_END] = {
        LLCB_FASTETHERNET,            /* PORT_FAST_ETHERNET */
        LLCB_GIGABITETHERNET,         /* PORT_GIGABIT_ETHERNET */
        LLCB_TGIGABITETHERNET,        /* PORT_TGIGABIT_ETHERNET */
        LLCB_FORTY_GIGABITETHERNET,   /* PORT_FOGIGABIT_ETHERNET */
        LLCB_HUNDRED_GIGABITETHERNET, /* PORT_HUGIGABIT_ETHERNET */
        LLCB_VIRTUAL_MGMT,            /* PORT_VIRTUAL_MGMT */
        LLCB_MGMT,                    /* PORT_MGMT */
        -1,                           /* PORT_FC */
        LLCB_25G_ETHERNET,            /* PORT_TFGIGABIT_ETHERNET */
        LLCB_FIFTY_GIGABITETHERNET,   /* PORT_FIFTYGIGABIT_ETHERNET */
        LLCB_TH_GIGABITETHERNET,      /* PORT_THGIGABIT_ETHERNET */
        LLCB_FH_GIGABITETHERNET,      /* PORT_FHGIGABIT_ETHERNET */
    };
    return port_type >= 0 && port_type < PORT_END ? llcb[port_type] : -1;
}

#ifdef __cplusplus
}
#endif

#endif /* DM_KDEV_H */
