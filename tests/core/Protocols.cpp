// What protocols are told beside what a caller asks for.
#include "core/Protocols.h"

#include <gtest/gtest.h>

#include <string>

namespace {

std::string logLevel(const std::string& address, quol::Dictionary& options) {
    quol::completeProtocolOptions(address, options);
    const char* const level = options.find("log_level");
    return level != nullptr ? level : "";
}

TEST(ProtocolOptions, RistDoesNotLog) {
    quol::Dictionary options;
    EXPECT_EQ(logLevel("rist://127.0.0.1:5000?buffer_size=10", options), "-1");
}

TEST(ProtocolOptions, WhatIsAskedForStays) {
    quol::Dictionary options;
    options.set("log_level", "3");
    EXPECT_EQ(logLevel("rist://127.0.0.1:5000", options), "3");
}

TEST(ProtocolOptions, OthersAreToldNothing) {
    for (const std::string address : {"srt://127.0.0.1:5000", "rist.mp4", "udp://rist://", ""}) {
        quol::Dictionary options;
        EXPECT_EQ(logLevel(address, options), "") << address;
        EXPECT_EQ(*options.address(), nullptr) << address;
    }
}

} // namespace
