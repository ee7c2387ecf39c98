#include "frame/Guid.h"

#include <gtest/gtest.h>

#include <cstring>
#include <set>
#include <string>

using namespace Corvidane;

TEST(GuidCreate, GivesDistinctRfc4122Values)
{
    std::set<std::string> seen;
    for (int i = 0; i < 2000; ++i) {
        GUID guid{};
        ASSERT_EQ(UuidCreate(&guid), 0);
        // The variant and version bits land where the fields say they are.
        EXPECT_EQ(guid.Data4[0] & 0xC0, 0x80);
        const int version = guid.Data3 >> 12;
        EXPECT_TRUE(version == 4 || version == 1) << version;
        seen.insert(std::string(reinterpret_cast<const char*>(&guid), sizeof guid));
    }
    EXPECT_EQ(seen.size(), 2000u);
    EXPECT_EQ(UuidCreate(nullptr), -1);
}

TEST(GuidCreate, EqualityLooksAtEveryField)
{
    GUID a{};
    ASSERT_EQ(UuidCreate(&a), 0);
    GUID b = a;
    EXPECT_TRUE(a == b);
    EXPECT_FALSE(a != b);

    for (std::size_t byte = 0; byte < sizeof(GUID); ++byte) {
        GUID c = a;
        reinterpret_cast<unsigned char*>(&c)[byte] ^= 0x01;
        EXPECT_TRUE(a != c) << byte;
        EXPECT_FALSE(a == c) << byte;
    }
}
