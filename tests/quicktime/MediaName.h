#pragma once
#include <cctype>
#include <string>

#include <gtest/gtest.h>

// A test name made of a media file's name: letters and digits kept, the rest '_'.
inline std::string mediaTestName(const ::testing::TestParamInfo<const char*>& info)
{
    std::string name = info.param;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c)))
            c = '_';
    return name;
}
