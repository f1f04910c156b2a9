#include <gtest/gtest.h>

#include "quolsdk/quolsdk_c_api.h"

TEST(Library, TellsItsVersionAuthorAndCompany) {
    EXPECT_STREQ(quolsdk_get_version(), "0.1.1");
    EXPECT_STREQ(quolsdk_get_author(), "quolmedia");
    EXPECT_STREQ(quolsdk_get_company(), "quolmedia Broadcast Media Sdk Technologies");
}
