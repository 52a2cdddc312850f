/*
 * dm_host.h - the contract between dm_lib_pd and the host library that loads
 * it (the product-independent half of the device manager).
 *
 * The library calls these functions and reads these variables; it never
 * links against a host: the symbols are bound when a host process loads it.
 * The host calls back through the handler sets the library registers here.
 */
#ifndef DM_HOST_H
#define DM_HOST_H

#include <pthread.h>
#include <stdbool.h>
#include <stdint.h>

#include "addr_common.h"
#include "dp_common.h"
#include <dm_lib_pd/dm_types.h>
#include "dm_tree.h"

#ifdef __cplusplus
extern "C" {
#endif

/* ---- diagnostics ------------------------------------------------------ */

/* Levels of the host's debug switch; a message of level L prints when
 * g_lib_dbg_level <= L. */
typedef enum {
    LIB_DBG_VERBOSE = 0,
    LIB_DBG_DETAIL = 1,
    LIB_DBG_WARN = 2,
    LIB_DBG_ERROR = 3,
    LIB_DBG_END = 4,
} lib_dbg_e;

extern int g_lib_dbg_level; /* the host's debug level, lib_dbg_e */
extern char lib_name[];     /* the host library's name, NUL-terminated */
extern void *logfile_info;  /* the host's log file, handed back to dm_logfile_write_log */

/* Appends one printf-formatted line to the host's log file. */
int dm_logfile_write_log(void *info, const char *fmt, ...) __attribute__((format(printf, 2, 3)));

/* ---- registration ----------------------------------------------------- */

/* Room, in bytes, of the host's request buffer that rpc_f receives: however
 * short the request (req_len), the host's buffer holds at least this many
 * bytes, and rpc_f writes its reply, *ack_len bytes, at most this many, over
 * the start of it. */
#define DM_HOST_RPC_REPLY_ROOM 128

/* The handler set the library gives the host for its module. */
typedef struct {
    void (*data_f)(void *data_buf, int data_len);            /* data messages */
    void (*rpc_f)(void *req_buf, int req_len, int *ack_len); /* request-reply, see above */
    void (*fnotify_f)(void *buf, int len);                   /* unused: null */
    void (*data_batch_f)(int batch_flag);                    /* batch synchronisation */
    void (*debug_show_f)(int para);                          /* debug show commands */
} lib_modu_handle_t;

/* The host keeps the initialiser and calls it after loading the library. */
int lib_pd_reg_init_handler(int (*init)(void));
/* The host keeps the debug-option parser and calls it with option strings. */
int lib_pd_reg_dbg_init_handler(void (*dbg_init)(char *buf));
/* The host keeps a copy of *handles for `module`; 0 on success. */
int dm_dp_lib_reg_dispatch_msg_handler(int module, lib_modu_handle_t *handles);
/* The host's address-manager client keeps a copy of *frame; 0 on success. */
int addr_lib_reg_pd_frame(addr_lib_pd_frame_t *frame);

/* ---- device events ---------------------------------------------------- */

/* A link of a circular doubly linked list; an empty list's head points to
 * itself both ways. */
struct list_head {
    struct list_head *next; /* next link, or the head */
    struct list_head *prev; /* previous link, or the head */
};

/* The wake-up object of an event list, set up by dm_os_event_init(). */
typedef struct {
    pthread_cond_t cond;   /* signalled when an event is queued */
    pthread_mutex_t mutex; /* guards count */
    uint32_t count;        /* signals not yet taken by the host's loop */
} dm_os_event_t;

/* A library's event list, handed to the host's event loop. After load the
 * library never touches it again; the host's queueing and loop own it. */
typedef struct {
    struct list_head list;  /* queued events */
    pthread_mutex_t mutex;  /* guards list and cur_num */
    dm_os_event_t os_event; /* wakes the loop */
    int cur_num;            /* number of queued events */
} dev_event_list_t;

/* Initialises the wake-up object of an event list; 0 on success. */
int dm_os_event_init(dm_os_event_t *event);
/* The host's event loop: delivers the list's events to `handler`, one at a
 * time, on the calling thread. */
void dev_event_thread_prototype(dev_event_list_t *list, dev_event_handler handler);
/* Queues a copy of `msg` (header and data_len bytes) for the event loop. */
int dm_dev_event_notify(dev_msg_t *msg);

/* ---- identity of this card and the others ----------------------------- */

int dm_get_my_node(void);                              /* node of this card */
int dm_get_my_devid(void);                             /* this device's id; 0 when unknown */
int dm_get_my_lslotid(void);                           /* this card's slot, gslot form */
int dm_get_my_card_type(int *card_type);               /* 0 and this card's type */
int dm_get_my_node_type(void);                         /* this card's dm_node_type_e */
int dm_get_node_type(int node);                        /* a card's dm_node_type_e */
int dm_get_dev_phy_type(int dev, int slot, int sslot); /* card type present; <0 none */
int dm_get_dev_phy_type_by_node(int node);             /* card type present at node; <0 none */
int dm_get_dev_cfg_type_by_node(int node);             /* card type configured for node; <0 none */
int dm_get_local_card_type_by_lslotid(int lslot);      /* card type in a slot of this device */

/* ---- data ------------------------------------------------------------- */

/* Copies `size` bytes of `data` into a heap block the host keeps and enters
 * it into `root` under `key`, holding the root's write lock. 0 on success. */
int dp_lib_insert_data(void *data, int size, int flag, dm_tree_root_t *root, int key);
/* True once the initial synchronisation is over. */
bool dm_lib_data_bs_over(void);

/* ---- the host's steps of the batch end, in the order they are called --- */

/* The end of the data-plane batch synchronisation (batch flag
 * SYNC_BATCH_OVER) calls these host steps in this order, without arguments,
 * on the host thread that delivered the flag; the library's own step 6, the
 * announcement of every chip-ID allocation, comes between steps 5 and 7.
 * Every step runs even when one fails; their results are not examined. */

/* Step 1. */
int dp_lib_role_batch_local(void);
/* Step 2. */
int hotplug_lib_batch_local(void);
/* Step 3. */
int dtm_lib_batch_over_handle(void);
/* Step 4. */
int hotplug_lib_batch_install(void);
/* Step 5. */
int addr_lib_notity_dcm_ready(void);
/* Step 7, after the library's announcement of every chip-ID allocation. */
int dm_card_sub_pre_insert_noti_batch(void);
/* Step 8. */
int dp_lib_role_batch_global(void);
/* Step 9. */
int hotplug_lib_batch_global(void);
/* Step 10. */
int hotplug_lib_batch_dp_complete(void);
/* Step 11, the last. */
int dm_check_ldp_probe_noti_batch(void);

#ifdef __cplusplus
}
#endif

#endif /* DM_HOST_H */
