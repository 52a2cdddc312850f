// The keyed index: key order, duplicate keys and ownership of the records.
#include <gtest/gtest.h>

#include <search.h>

#include <climits>
#include <vector>

#include "dm_tree.h"

namespace {

std::vector<int> g_walk;

void collect(const void *nodep, VISIT which, int)
{
    if (which == postorder || which == leaf) {
        g_walk.push_back((*static_cast<dm_tree_node_t *const *>(nodep))->key);
    }
}

TEST(DmTree, InsertFindDeleteAndDuplicates)
{
    dm_tree_root_t root;
    ASSERT_EQ(dm_tree_init_root(&root), 0);
    int a = 1, b = 2;
    EXPECT_EQ(dm_tree_insert_node(&root, 7, &a), 0);
    EXPECT_EQ(dm_tree_insert_node(&root, 7, &b), 1);  // the first record stays
    EXPECT_EQ(dm_tree_find_node(&root, 7), &a);
    EXPECT_EQ(dm_tree_insert_node(&root, 8, nullptr), -1);
    EXPECT_EQ(dm_tree_find_node(&root, 8), nullptr);
    EXPECT_EQ(dm_tree_delete_node(&root, 99), 0);  // absent key
    EXPECT_EQ(dm_tree_delete_node(&root, 7), 0);
    EXPECT_EQ(dm_tree_find_node(&root, 7), nullptr);
    EXPECT_EQ(dm_tree_delete_node(&root, 7), 0);  // empty tree
    EXPECT_EQ(dm_tree_find_node(nullptr, 7), nullptr);
    EXPECT_EQ(dm_tree_insert_node(nullptr, 7, &a), -1);
    EXPECT_EQ(dm_tree_delete_node(nullptr, 7), -1);
    EXPECT_EQ(dm_tree_init_root(nullptr), -1);
}

TEST(DmTree, WalkIsSignedOrderAndDestroyKeepsRecords)
{
    dm_tree_root_t root;
    ASSERT_EQ(dm_tree_init_root(&root), 0);
    EXPECT_EQ(dm_tree_destroy(&root), -1);  // empty
    std::vector<int> records = {INT_MAX, 0, INT_MIN, -5, 42};
    for (int &r : records) {
        ASSERT_EQ(dm_tree_insert_node(&root, r, &r), 0);
    }
    g_walk.clear();
    twalk(root.root, collect);
    EXPECT_EQ(g_walk, (std::vector<int>{INT_MIN, -5, 0, 42, INT_MAX}));
    EXPECT_EQ(dm_tree_destroy(&root), 0);
    root.root = nullptr;
    // The records are the caller's and untouched (ASan would flag a free of them).
    EXPECT_EQ(records[2], INT_MIN);
    EXPECT_EQ(dm_tree_find_node(&root, 0), nullptr);
}

}  // namespace
