// The keyed index over the C library's tsearch trees.
#include "dm_tree.h"

#include <search.h>

#include <cstdlib>
#include <new>

extern "C" {

int compare_node(const void *a, const void *b)
{
    const int ka = static_cast<const dm_tree_node_t *>(a)->key;
    const int kb = static_cast<const dm_tree_node_t *>(b)->key;
    return (ka > kb) - (ka < kb);
}

static void dm_tree_destrory_free_node(void *node) { std::free(node); }

int dm_tree_init_root(dm_tree_root_t *root)
{
    if (root == nullptr) {
        return -1;
    }
    root->root = nullptr;
    return pthread_rwlock_init(&root->rwlock, nullptr) == 0 ? 0 : -1;
}

int dm_tree_insert_node(dm_tree_root_t *root, int key, void *data)
{
    if (root == nullptr || data == nullptr) {
        return -1;
    }
    auto *node = static_cast<dm_tree_node_t *>(std::malloc(sizeof(dm_tree_node_t)));
    if (node == nullptr) {
        return -1;
    }
    node->key = key;
    node->data = data;
    // One search both finds a present key and adds an absent one.
    void *slot = tsearch(node, &root->root, compare_node);
    if (slot == nullptr) {
        std::free(node);
        return -1;
    }
    if (*static_cast<dm_tree_node_t **>(slot) != node) {
        std::free(node);
        return 1;
    }
    return 0;
}

void *dm_tree_find_node(dm_tree_root_t *root, int key)
{
    if (root == nullptr) {
        return nullptr;
    }
    dm_tree_node_t probe{key, nullptr};
    void *slot = tfind(&probe, &root->root, compare_node);
    return slot == nullptr ? nullptr : (*static_cast<dm_tree_node_t **>(slot))->data;
}

int dm_tree_delete_node(dm_tree_root_t *root, int key)
{
    if (root == nullptr) {
        return -1;
    }
    dm_tree_node_t probe{key, nullptr};
    void *slot = tfind(&probe, &root->root, compare_node);
    if (slot == nullptr) {
        return 0;
    }
    dm_tree_node_t *node = *static_cast<dm_tree_node_t **>(slot);
    tdelete(&probe, &root->root, compare_node);
    std::free(node);
    return 0;
}

int dm_tree_destroy(dm_tree_root_t *root)
{
    if (root == nullptr || root->root == nullptr) {
        return -1;
    }
    tdestroy(root->root, dm_tree_destrory_free_node);
    return 0;
}

}  // extern "C"
