// Formatting and path helpers, one table per function.
#include <cstring>
#include <gtest/gtest.h>
#include <string>

#include "dirmodel/es_format.h"
#include "dirmodel/es_path.h"

namespace {

TEST(Format, TimeString)
{
    setenv("TZ", "UTC", 1);
    tzset();
    const time_t t = 1700000000;  // 11/14/2023 10:13:20 PM UTC
    struct Case {
        int style;
        long age;
        const char* want;
    } cases[] = {
        {2, 0, " 11/14/2023 10:13 PM"},     {0, 119, " 119 seconds"},
        {0, 120, " 2 minutes"},              {0, 47 * 3600 + 3599, " 47 hours"},
        {0, 48 * 3600, " 2 days"},           {0, 59 * 86400, " 59 days"},
        {0, 100 * 86400, " 3 months"},
        {0, 355 * 86400, " 11 months"},      {0, 400 * 86400, " 11/14/2023"},
        {1, 7 * 86400, " 11/14/2023"},       {1, 3 * 86400, " 10:13 PM Tuesday"},
        // 360, not 3600: 720 s / 360 = 2, plus hour 22, is past 23.
        {1, 360, " 10:13 PM today"},         {1, 720, " 10:13 PM yesterday"},
    };
    for (const auto& c : cases) {
        char out[100];
        int n = es_generate_time_string(out, t, c.style, t + c.age);
        EXPECT_STREQ(out, c.want) << "style " << c.style << " age " << c.age;
        EXPECT_EQ(n, static_cast<int>(std::strlen(out)));
    }
}

TEST(Path, ConstructFullpath)
{
    struct Case {
        const char* dir;
        const char* name;
        const char* want;
    } cases[] = {
        {"/a", "b", "/a/b"},   {"/a/", "b", "/a/b"}, {"/a", "/b", "/a/b"},  {"/a/", "/b", "/a//b"},
        {"/", "b", "/b"},      {"/a/", nullptr, "/a"}, {nullptr, "b/", "b/"}, {nullptr, "bc/", "bc"},
        {"/a", "b//", "/a/b"},
    };
    for (const auto& c : cases) {
        char out[64];
        int n = es_construct_fullpath(out, c.dir, c.name);
        EXPECT_STREQ(out, c.want) << (c.dir ? c.dir : "(none)") << " + " << (c.name ? c.name : "(none)");
        EXPECT_EQ(n, static_cast<int>(std::strlen(c.want)));
    }
}

}  // namespace

// The three size texts: status bar, Size column, Properties.
TEST(Format, SizeTexts)
{
    const struct {
        int64_t size;
        const char *status, *column, *properties;
    } cases[] = {
        {0, "0 bytes", "0", "0 byte_count"},
        {999, "999 bytes", "999", "999 byte_count"},
        {1000, "1000 bytes", "1,000", "1000 byte_count"},
        {1023, "1023 bytes", "1,023", "1023 byte_count"},
        {1024, "1.0KB", "1,024", "1.0KB"},
        {2047, "2.0KB", "2,047", "1.1023KB"},
        {1023999, "1000.0KB", "1,023,999", "999.1023KB"},
        {1024000, "1000.0KB", "1,024,000", "1.0MB"},
        {1048575, "1024.0KB", "1,048,575", "1.24575MB"},
        {1048576, "1.0MB", "1,048,576", "1.24576MB"},
        {1536000, "1.5MB", "1,536,000", "1.512000MB"},
        {1234567, "1.2MB", "1,234,567", "1.210567MB"},
        {1024000000, "976.6MB", "1,024,000,000", "1.0GB"},
        {2047999999, "1953.1MB", "2,047,999,999", "1.1023999999GB"},
    };
    for (const auto& c : cases) {
        char out[64];
        EXPECT_STREQ(ll2str(c.size), c.status) << c.size;
        EXPECT_STREQ(cvt2c(uint64_t(c.size)), c.column) << c.size;
        EXPECT_STREQ(es_generate_byte_string(out, int32_t(c.size)), c.properties) << c.size;
    }
    // Past the 32-bit range and below zero.
    EXPECT_STREQ(ll2str(5LL << 30), "5120.0MB");
    EXPECT_STREQ(ll2str((1LL << 32) + 7), "4096.0MB");
    EXPECT_STREQ(ll2str(-5), "-5 bytes");
    EXPECT_STREQ(cvt2c(18446744073709551615ull), "18,446,744,073,709,551,615");
}

TEST(Path, StripPathname)
{
    struct Case {
        const char* in;
        const char* want;
    } cases[] = {
        {"a//b//c", "a/b//c"},   {"a//bcd//e", "a/bcd/e"}, {"/a/b/", "/a/b"},  {"///a", "//a"},
        {"//host/x", "//host/x"}, {"///", "/"},            {"a/b///", "a/b"},
    };
    for (const auto& c : cases) {
        char buf[64];
        std::strcpy(buf, c.in);
        EXPECT_STREQ(es_strip_pathname(buf), c.want) << c.in;
    }
}
