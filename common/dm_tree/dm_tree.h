/*
 * dm_tree.h - the keyed index every table of the library is built on.
 *
 * A thin layer over the C library's binary search trees (tsearch and
 * friends): signed 32-bit keys, each leading to a record its owner allocated.
 * The read-write lock beside the tree is the owner's to take: no operation
 * here locks, prints or touches a record; they allocate and free only their
 * own nodes. The layout is part of the host contract: the host's insertion
 * service enters records straight into a library's root.
 */
#ifndef DM_TREE_H
#define DM_TREE_H

#include <pthread.h>

#ifdef __cplusplus
extern "C" {
#endif

/* One index: the tree and the lock its owner takes around every use. */
typedef struct {
    pthread_rwlock_t rwlock; /* guards the tree and the records it leads to; first member */
    void *root;              /* the C library's tree; null when empty */
} dm_tree_root_t;

/* One entry of an index, allocated by insert and freed by delete or destroy. */
typedef struct {
    int key;    /* unique within a tree, ordered as a signed integer */
    void *data; /* the owner's record; never copied or freed here */
} dm_tree_node_t;

/* Empties `root` and initialises its lock. 0; -1 for a null root or when the
 * lock cannot be initialised. */
int dm_tree_init_root(dm_tree_root_t *root);

/* 0 inserted; 1 the key is present (nothing changed, the caller keeps `data`);
 * -1 null root or data, or out of memory. */
int dm_tree_insert_node(dm_tree_root_t *root, int key, void *data);

/* The record stored under `key`, or null. */
void *dm_tree_find_node(dm_tree_root_t *root, int key);

/* Removes `key` (0 also when absent); -1 for a null root. Never frees the record. */
int dm_tree_delete_node(dm_tree_root_t *root, int key);

/* Frees every node, never the records; -1 for a null root or an empty tree.
 * The owner sets `root->root` to null right after, under the same lock. */
int dm_tree_destroy(dm_tree_root_t *root);

/* Orders two nodes by signed key: 1, -1 or 0. */
int compare_node(const void *a, const void *b);

#ifdef __cplusplus
}
#endif

#endif /* DM_TREE_H */
