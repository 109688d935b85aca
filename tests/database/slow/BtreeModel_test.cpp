// Long randomised runs of the B-tree against std::multimap: hundreds of
// thousands of inserts and removals in waves, so that the tree grows to
// several levels and shrinks back through merges, in every entry width,
// with and without duplicates, in compact and full-form leaves, reopening
// the file along the way.
#include <gtest/gtest.h>

#include "../BtreeTestSupport.h"

namespace {

class BtreeLongModel : public ::testing::TestWithParam<ModelRun> {};

TEST_P(BtreeLongModel, MatchesMultimap) {
  runModel(GetParam(), "btree_long_model.db");
}

INSTANTIATE_TEST_SUITE_P(
    Runs, BtreeLongModel,
    ::testing::Values(ModelRun{0, false, 250000, 200000, 60000, 21, 3},
                      ModelRun{BT_INDEX_DUPLICATES | BT_INDEX_SUMMARY8, false, 200000, 20000, 60000,
                               22, 3},
                      ModelRun{BT_INDEX_SUMMARY16, true, 200000, 300000, 60000, 23, 3},
                      ModelRun{BT_INDEX_SUMMARY16 | BT_INDEX_DUPLICATES, true, 150000, 30000, 50000,
                               24, 3},
                      ModelRun{BT_INDEX_SUMMARY8 | BT_INDEX_DUPLICATES, true, 100000, 20000, 30000,
                               25, 3, true}));

}  // namespace
