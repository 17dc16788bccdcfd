#include "engine/OffloadDestination.h"

#include <gtest/gtest.h>

using namespace ferrydeck;

TEST(OffloadDestination, LoadsKnownKeysAndKeepsFieldsForMissingOrUnreadableOnes)
{
    OffloadDestination onlyInUse;
    onlyInUse.loadAttributesFromDictionary({{"inUse", false}});
    EXPECT_EQ(onlyInUse.destinationPath(), "");
    EXPECT_FALSE(onlyInUse.inUse());

    OffloadDestination extra;
    extra.loadAttributesFromDictionary(
        {{"colour", "red"}, {"destinationPath", "/srv/raid/Shoot"}, {"inUse", "0"}, {"order", {1, 2}}});
    EXPECT_EQ(extra.destinationPath(), "/srv/raid/Shoot");
    EXPECT_FALSE(extra.inUse());

    // A path of the wrong kind is skipped; the other key still applies.
    OffloadDestination damaged("/keep");
    damaged.loadAttributesFromDictionary({{"destinationPath", 12}, {"inUse", Dictionary::array()}});
    EXPECT_EQ(damaged.destinationPath(), "/keep");
    EXPECT_TRUE(damaged.inUse());
    damaged.loadAttributesFromDictionary({{"destinationPath", nullptr}, {"inUse", 0}});
    EXPECT_EQ(damaged.destinationPath(), "/keep");
    EXPECT_FALSE(damaged.inUse());
    damaged.loadAttributesFromDictionary("not a dictionary");
    EXPECT_EQ(damaged.destinationPath(), "/keep");
}
