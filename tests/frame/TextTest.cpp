#include "frame/StringException.h"
#include "frame/Text.h"

#include <gtest/gtest.h>

#include <clocale>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

using namespace Corvidane;

namespace {

// Switches LC_ALL for one test and restores the previous locale afterwards.
class LocaleScope {
public:
    explicit LocaleScope(std::initializer_list<const char*> candidates)
    {
        const char* current = std::setlocale(LC_ALL, nullptr);
        m_saved = current ? current : "C";
        for (const char* name : candidates) {
            if (std::setlocale(LC_ALL, name)) {
                m_active = true;
                break;
            }
        }
    }
    ~LocaleScope() { std::setlocale(LC_ALL, m_saved.c_str()); }
    bool active() const { return m_active; }

private:
    std::string m_saved;
    bool m_active = false;
};

#define REQUIRE_UTF8_LOCALE(scope)                                                             \
    LocaleScope scope({"C.UTF-8", "C.utf8", "en_US.UTF-8", "en_US.utf8"});                     \
    if (!scope.active())                                                                       \
    GTEST_SKIP() << "no UTF-8 locale installed"

// Sets or unsets one environment variable for one test.
class EnvScope {
public:
    EnvScope(const char* name, const char* value) : m_name(name)
    {
        if (const char* old = std::getenv(name))
            m_saved = std::string(old);
        if (value)
            ::setenv(name, value, 1);
        else
            ::unsetenv(name);
    }
    ~EnvScope()
    {
        if (m_saved)
            ::setenv(m_name.c_str(), m_saved->c_str(), 1);
        else
            ::unsetenv(m_name.c_str());
    }

private:
    std::string m_name;
    std::optional<std::string> m_saved;
};

std::string readBytes(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void writeBytes(const std::filesystem::path& path, const std::string& bytes)
{
    std::ofstream out(path, std::ios::binary);
    out << bytes;
}

} // namespace

// ---------------------------------------------------------------- XML

TEST(XmlHelpers, FindsFirstElementOfRepeatedTag)
{
    std::wstring value;
    ASSERT_TRUE(XML::findXMLTagData(L"<a>1</a><a>2</a>", L"a", value));
    EXPECT_EQ(value, L"1");
}

TEST(XmlHelpers, MissingTagFailsAndClearsValue)
{
    std::wstring value = L"stale";
    EXPECT_FALSE(XML::findXMLTagData(L"<a>1", L"a", value));
    EXPECT_EQ(value, L"");

    value = L"stale";
    EXPECT_FALSE(XML::findXMLTagData(L"1</a>", L"a", value));
    EXPECT_EQ(value, L"");

    // A closing tag only counts behind the opening one.
    EXPECT_FALSE(XML::findXMLTagData(L"</a>x<a>", L"a", value));
    EXPECT_FALSE(XML::findXMLTagData(L"", L"a", value));
    EXPECT_FALSE(XML::findXMLTagData(static_cast<const wchar_t*>(nullptr), L"a", value));
}

TEST(XmlHelpers, MatchesWholeTagsByPlainText)
{
    std::wstring value;
    // "<a>" is not a prefix match of "<ab>".
    ASSERT_TRUE(XML::findXMLTagData(L"<ab>1</ab><a>2</a>", L"a", value));
    EXPECT_EQ(value, L"2");

    // No attribute handling: a tag with attributes isn't found.
    EXPECT_FALSE(XML::findXMLTagData(L"<a x=\"1\">v</a>", L"a", value));

    // No entity handling.
    ASSERT_TRUE(XML::findXMLTagData(L"<a>&lt;&amp;</a>", L"a", value));
    EXPECT_EQ(value, L"&lt;&amp;");

    ASSERT_TRUE(XML::findXMLTagData(L"<a></a>", L"a", value));
    EXPECT_EQ(value, L"");
}

TEST(XmlHelpers, NestedContentComesBackAsText)
{
    const std::wstring text = L"<m><reel>R1</reel><scene>12</scene></m>";
    std::wstring value;
    ASSERT_TRUE(XML::findXMLTagData(text, L"m", value));
    EXPECT_EQ(value, L"<reel>R1</reel><scene>12</scene>");
    ASSERT_TRUE(XML::findXMLTagData(text, L"scene", value));
    EXPECT_EQ(value, L"12");

    // The same tag nested ends at the first closing tag.
    ASSERT_TRUE(XML::findXMLTagData(L"<a><a>x</a></a>", L"a", value));
    EXPECT_EQ(value, L"<a>x");
}

TEST(XmlHelpers, BuildsElementsAndAttributes)
{
    EXPECT_EQ(XML::makeElement(L"op", L"atom"), L"<op>atom</op>");
    EXPECT_EQ(XML::makeElement(L"op", std::wstring()), L"<op></op>");
    EXPECT_EQ(XML::makeElement(L"b", true), L"<b>true</b>");
    EXPECT_EQ(XML::makeElement(L"b", false), L"<b>false</b>");
    // A literal must not decay to the bool overload.
    EXPECT_EQ(XML::makeElement(L"s", L"text"), L"<s>text</s>");
    EXPECT_EQ(XML::makeElement(L"n", -12), L"<n>-12</n>");
    EXPECT_EQ(XML::makeElement(L"n", 4000000000u), L"<n>4000000000</n>");
    EXPECT_EQ(XML::makeElement(L"n", static_cast<long long>(LLONG_MIN)), L"<n>-9223372036854775808</n>");

    EXPECT_EQ(XML::xmlAttributePair(L"name", L"v"), L"name=\"v\"");
    EXPECT_EQ(XML::xmlAttributePair(L"count", 3u), L"count=\"3\"");

    EXPECT_EQ(XML::makeElementFromAttributes(
                  L"track", {XML::xmlAttributePair(L"id", 1), XML::xmlAttributePair(L"kind", L"video")}),
              L"<track id=\"1\" kind=\"video\"/>");
    EXPECT_EQ(XML::makeElementFromAttributes(L"empty", {}), L"<empty/>");
}

TEST(XmlHelpers, BuiltElementsAreFoundAgain)
{
    const std::wstring fragment = XML::makeElement(L"source_reel", L"A001") + XML::makeElement(L"scene", 7)
                                + XML::makeElement(L"drop", true);
    std::wstring value;
    ASSERT_TRUE(XML::findXMLTagData(fragment, L"source_reel", value));
    EXPECT_EQ(value, L"A001");
    ASSERT_TRUE(XML::findXMLTagData(fragment, L"scene", value));
    EXPECT_EQ(value, L"7");
    ASSERT_TRUE(XML::findXMLTagData(fragment, L"drop", value));
    EXPECT_EQ(value, L"true");
    EXPECT_FALSE(XML::findXMLTagData(fragment, L"take", value));
}

// ---------------------------------------------------------------- conversion

TEST(TextConvert, AsciiRoundTripsAtAnyLength)
{
    LocaleScope c({"C"});
    for (std::size_t length : {0u, 1u, 255u, 256u, 4097u, 200000u}) {
        std::string narrow(length, 'x');
        for (std::size_t i = 0; i < length; ++i)
            narrow[i] = static_cast<char>(' ' + i % 95);
        const std::wstring wide = convertString(narrow);
        ASSERT_EQ(wide.size(), length);
        EXPECT_EQ(convertString(wide), narrow);
    }
}

TEST(TextConvert, UnconvertibleTextGivesEmptyResult)
{
    LocaleScope c({"C"});
    EXPECT_EQ(convertString(std::wstring(L"caf\u00e9")), "");
    EXPECT_EQ(convertString(std::string("caf\xe9")), L"");
    EXPECT_EQ(convertString(static_cast<const wchar_t*>(nullptr)), "");
    EXPECT_EQ(convertString(static_cast<const char*>(nullptr)), L"");
    // A bad character at the very end of a long text.
    std::string longBad(100000, 'a');
    longBad.back() = '\x80';
    EXPECT_EQ(convertString(longBad), L"");
}

TEST(TextConvert, Utf8LocaleConvertsAndRejectsInvalidInput)
{
    REQUIRE_UTF8_LOCALE(utf8);
    const std::wstring wide = L"caf\u00e9 \u65e5\u672c \U0001F3AC";
    const std::string narrow = "caf\xc3\xa9 \xe6\x97\xa5\xe6\x9c\xac \xf0\x9f\x8e\xac";
    EXPECT_EQ(convertString(wide), narrow);
    EXPECT_EQ(convertString(narrow), wide);

    // Multi-byte output longer than the wide input.
    const std::wstring longWide(50000, L'\u65e5');
    const std::string longNarrow = convertString(longWide);
    EXPECT_EQ(longNarrow.size(), 150000u);
    EXPECT_EQ(convertString(longNarrow), longWide);

    EXPECT_EQ(convertString(std::string("\xff\xfe")), L"");
    EXPECT_EQ(convertString(std::string("ok \xe6\x97")), L"");  // truncated sequence
    EXPECT_EQ(convertString(std::string("\xc0\xaf")), L"");     // overlong '/'
    EXPECT_EQ(convertString(std::wstring(1, static_cast<wchar_t>(0xD800))), "");
}

TEST(TextConvert, StopsAtEmbeddedZero)
{
    EXPECT_EQ(convertString(std::wstring(L"ab\0cd", 5)), "ab");
    EXPECT_EQ(convertString(std::string("ab\0cd", 5)), L"ab");
}

TEST(TextConvert, NumbersInDecimal)
{
    EXPECT_EQ(convertString(0u), L"0");
    EXPECT_EQ(convertString(UINT_MAX), L"4294967295");
    EXPECT_EQ(convertString(-1), L"-1");
    EXPECT_EQ(convertString(INT_MIN), L"-2147483648");
}

TEST(TextCase, MapsEachCharacter)
{
    LocaleScope c({"C"});
    EXPECT_EQ(toLower(std::string("Clip.MXF")), "clip.mxf");
    EXPECT_EQ(toUpper(std::string("clip.mxf")), "CLIP.MXF");
    EXPECT_EQ(toLower(std::wstring(L"Clip.MXF")), L"clip.mxf");
    EXPECT_EQ(toUpper(std::wstring(L"clip.mxf")), L"CLIP.MXF");
    // Bytes above 127 are left alone (and mustn't reach tolower as negatives).
    EXPECT_EQ(toLower(std::string("A\xc3\x89")), "a\xc3\x89");
}

TEST(TextCase, WideCaseFollowsLocale)
{
    REQUIRE_UTF8_LOCALE(utf8);
    EXPECT_EQ(toLower(std::wstring(L"\u00c9T\u00c9")), L"\u00e9t\u00e9");
    EXPECT_EQ(toUpper(std::wstring(L"\u00e9t\u00e9")), L"\u00c9T\u00c9");
}

// ---------------------------------------------------------------- format

TEST(TextFormat, FormatsMixedArguments)
{
    EXPECT_EQ(format(L"%d-%ls-%s-%u-%05.1f", -3, L"wide", "narrow", 7u, 2.25), L"-3-wide-narrow-7-002.2");
    EXPECT_EQ(format(L"%ls.%c%d%ls", L"clip", 'a', 1, L".mxf"), L"clip.a1.mxf");
    EXPECT_EQ(format(L"no arguments"), L"no arguments");
    EXPECT_EQ(format(L""), L"");
    EXPECT_EQ(format(nullptr), L"");
}

TEST(TextFormat, OutputIsNeverTruncated)
{
    const std::wstring big(300000, L'q');
    const std::wstring result = format(L"[%ls]%d", big.c_str(), 42);
    EXPECT_EQ(result, L"[" + big + L"]42");

    EXPECT_EQ(format(L"%5000d", 1).size(), 5000u);
}

TEST(TextFormat, UnconvertibleNarrowArgumentGivesEmpty)
{
    LocaleScope c({"C"});
    EXPECT_EQ(format(L"x%sy", "\xe9"), L"");
}

// ---------------------------------------------------------------- split / join

TEST(TextSplitJoin, SplitKeepsEmptyPieces)
{
    using V = std::vector<std::wstring>;
    EXPECT_EQ(splitString(L"a,b,c", L','), (V{L"a", L"b", L"c"}));
    EXPECT_EQ(splitString(L"a,,b", L','), (V{L"a", L"", L"b"}));
    EXPECT_EQ(splitString(L",a,", L','), (V{L"", L"a", L""}));
    EXPECT_EQ(splitString(L",", L','), (V{L"", L""}));
    EXPECT_EQ(splitString(L"abc", L','), (V{L"abc"}));
    EXPECT_TRUE(splitString(L"", L',').empty());
    EXPECT_EQ(splitString(std::string("k=v;x"), ';'), (std::vector<std::string>{"k=v", "x"}));
}

TEST(TextSplitJoin, JoinPutsSeparatorsOnlyBetweenItems)
{
    using V = std::vector<std::wstring>;
    EXPECT_EQ(joinString(V{L"a", L"b", L"c"}, L','), L"a,b,c");
    EXPECT_EQ(joinString(V{L"a"}, L','), L"a");
    EXPECT_EQ(joinString(V{}, L','), L"");
    EXPECT_EQ(joinString(V{L"a", L""}, L','), L"a,");
    // Without a separator nothing of the last item is cut.
    EXPECT_EQ(joinString(V{L"ab", L"c"}, 0), L"abc");
    EXPECT_EQ(joinString(std::vector<std::string>{"x", "y"}, 0), "xy");
    EXPECT_EQ(joinString(std::vector<std::string>{"x", "y"}, '/'), "x/y");
}

TEST(TextSplitJoin, RoundTrips)
{
    for (const std::wstring text : {L"a", L"a,b", L",", L",,", L"a,,b,", L",x", L"one piece"})
        EXPECT_EQ(joinString(splitString(text, L','), L','), text) << text;

    using V = std::vector<std::wstring>;
    for (const V& list : {V{L"a"}, V{L"", L""}, V{L"a", L"", L"b"}, V{L"x", L"y", L""}})
        EXPECT_EQ(splitString(joinString(list, L','), L','), list);

    // The one list that doesn't survive: a single empty item joins to the
    // empty text, which splits to no items.
    EXPECT_TRUE(splitString(joinString(V{L""}, L','), L',').empty());
}

// ---------------------------------------------------------------- environment

TEST(TextEnv, ReplacesSetVariables)
{
    EnvScope a("CV_TEXT_TEST_A", "alpha");
    EnvScope b("CV_TEXT_TEST_B", "/media/b");
    EXPECT_EQ(getenv(std::wstring(L"CV_TEXT_TEST_A")), L"alpha");
    EXPECT_EQ(replaceEnvVars(std::wstring(L"%CV_TEXT_TEST_A%/x")), L"alpha/x");
    EXPECT_EQ(replaceEnvVars(std::wstring(L"pre %CV_TEXT_TEST_B%%CV_TEXT_TEST_A% post")),
              L"pre /media/balpha post");
    EXPECT_EQ(replaceEnvVars(std::string("%CV_TEXT_TEST_B%/clip")), "/media/b/clip");
    EXPECT_EQ(replaceEnvVars(std::wstring(L"no variables")), L"no variables");
    EXPECT_EQ(replaceEnvVars(std::wstring()), L"");
}

TEST(TextEnv, UnsetVariableLeavesNothing)
{
    EnvScope home("HOME", nullptr);
    EXPECT_EQ(getenv(std::wstring(L"HOME")), L"");
    EXPECT_EQ(replaceEnvVars(std::wstring(L"%HOME%/x")), L"/x");
    EXPECT_EQ(replaceEnvVars(std::string("%HOME%/x")), "/x");
    EXPECT_EQ(replaceEnvVars(std::wstring(L"100%%")), L"100");
}

TEST(TextEnv, ValuesAreNotExpandedAgain)
{
    EnvScope a("CV_TEXT_TEST_A", "%CV_TEXT_TEST_B%");
    EnvScope b("CV_TEXT_TEST_B", "inner");
    EXPECT_EQ(replaceEnvVars(std::wstring(L"%CV_TEXT_TEST_A%")), L"%CV_TEXT_TEST_B%");
}

TEST(TextEnv, UnterminatedPercentIsKept)
{
    EnvScope a("CV_TEXT_TEST_A", "alpha");
    EXPECT_EQ(replaceEnvVars(std::wstring(L"50% off")), L"50% off");
    EXPECT_EQ(replaceEnvVars(std::wstring(L"%")), L"%");
    EXPECT_EQ(replaceEnvVars(std::wstring(L"%CV_TEXT_TEST_A%and %rest")), L"alphaand %rest");
    EXPECT_EQ(replaceEnvVars(std::wstring(L"%CV_TEXT_TEST_A")), L"%CV_TEXT_TEST_A");
}

// ---------------------------------------------------------------- files

class TextFiles : public ::testing::Test {
protected:
    void SetUp() override
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "cv_text_XXXXXX").string();
        ASSERT_NE(::mkdtemp(pattern.data()), nullptr);
        m_dir = pattern;
    }
    void TearDown() override
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_dir, ignored);
    }
    std::wstring widePath(const char* name) const { return convertString((m_dir / name).string()); }

    std::filesystem::path m_dir;
};

TEST_F(TextFiles, WrittenLinesEndInCrLfAndReadBack)
{
    const std::vector<std::string> lines{"first", "", "third line", "tab\there", "cr at end\r"};
    ASSERT_TRUE(writeAsciiFile(widePath("lines.txt"), lines));
    EXPECT_EQ(readBytes(m_dir / "lines.txt"), "first\r\n\r\nthird line\r\ntab\there\r\ncr at end\r\r\n");

    std::vector<std::string> read;
    ASSERT_TRUE(readAsciiFileToLines(widePath("lines.txt"), read));
    EXPECT_EQ(read, lines);
}

TEST_F(TextFiles, WriteReplacesContentAndEmptyListGivesEmptyFile)
{
    ASSERT_TRUE(writeAsciiFile(widePath("f.txt"), {"old", "content"}));
    ASSERT_TRUE(writeAsciiFile(widePath("f.txt"), {}));
    EXPECT_EQ(readBytes(m_dir / "f.txt"), "");
    std::vector<std::string> read{"stale"};
    ASSERT_TRUE(readAsciiFileToLines(widePath("f.txt"), read));
    EXPECT_TRUE(read.empty());
}

TEST_F(TextFiles, ReadAcceptsLfCrLfAndMissingFinalEnd)
{
    using V = std::vector<std::string>;
    const struct {
        const char* bytes;
        V lines;
    } cases[] = {
        {"a\nb\n", V{"a", "b"}},
        {"a\r\nb\nc", V{"a", "b", "c"}},
        {"\n\n", V{"", ""}},
        {"only", V{"only"}},
        {"a\r\n\r\n", V{"a", ""}},
    };
    for (const auto& c : cases) {
        writeBytes(m_dir / "in.txt", c.bytes);
        V read;
        ASSERT_TRUE(readAsciiFileToLines(widePath("in.txt"), read)) << c.bytes;
        EXPECT_EQ(read, c.lines) << c.bytes;
    }
}

TEST_F(TextFiles, LargeFileRoundTrips)
{
    std::vector<std::string> lines;
    for (int i = 0; i < 50000; ++i)
        lines.push_back("line " + std::to_string(i) + std::string(static_cast<std::size_t>(i % 40), '.'));
    ASSERT_TRUE(writeAsciiFile(widePath("big.txt"), lines));
    std::vector<std::string> read;
    ASSERT_TRUE(readAsciiFileToLines(widePath("big.txt"), read));
    EXPECT_EQ(read, lines);
}

TEST_F(TextFiles, FailuresLeaveLinesAlone)
{
    std::vector<std::string> read{"kept"};
    EXPECT_FALSE(readAsciiFileToLines(widePath("missing.txt"), read));
    EXPECT_FALSE(readAsciiFileToLines(convertString(m_dir.string()), read));  // a directory
    EXPECT_FALSE(readAsciiFileToLines(L"", read));
    EXPECT_EQ(read, std::vector<std::string>{"kept"});

    EXPECT_FALSE(writeAsciiFile(widePath("no/such/dir.txt"), {"x"}));
    EXPECT_FALSE(writeAsciiFile(L"", {"x"}));
}

TEST_F(TextFiles, NonAsciiPathNeedsALocaleThatHoldsIt)
{
    const std::wstring name = widePath("") + L"r\u00e9el.txt";
    {
        LocaleScope c({"C"});
        EXPECT_FALSE(writeAsciiFile(name, {"x"}));
    }
    REQUIRE_UTF8_LOCALE(utf8);
    ASSERT_TRUE(writeAsciiFile(name, {"x"}));
    std::vector<std::string> read;
    ASSERT_TRUE(readAsciiFileToLines(name, read));
    EXPECT_EQ(read, std::vector<std::string>{"x"});
}

TEST_F(TextFiles, MkdirChdirAndCwd)
{
    const std::wstring saved = getCwd();
    ASSERT_FALSE(saved.empty());

    const std::wstring sub = widePath("sub");
    ASSERT_TRUE(mkdir(sub));
    EXPECT_TRUE(std::filesystem::is_directory(m_dir / "sub"));
    EXPECT_FALSE(mkdir(sub));                          // exists already
    EXPECT_FALSE(mkdir(widePath("a/b")));             // parent missing
    EXPECT_FALSE(mkdir(L""));

    ASSERT_TRUE(Corvidane::chdir(sub));
    const std::wstring here = getCwd();
    ASSERT_TRUE(Corvidane::chdir(saved));
    EXPECT_EQ(std::filesystem::path(convertString(here)),
              std::filesystem::canonical(m_dir / "sub"));
    EXPECT_EQ(getCwd(), saved);

    EXPECT_FALSE(Corvidane::chdir(widePath("missing")));
    EXPECT_EQ(getCwd(), saved);
}

// ---------------------------------------------------------------- misc

TEST(TextIpv4, AcceptsOnlyDottedQuads)
{
    for (const wchar_t* good : {L"192.168.0.1", L"0.0.0.0", L"255.255.255.255", L"10.0.0.010"})
        EXPECT_TRUE(isIpv4Address(good)) << good;
    for (const wchar_t* bad : {L"", L"1.2.3", L"1.2.3.4.5", L"256.1.1.1", L"1.2.3.4x", L"1..2.3",
                               L".1.2.3.4", L"1.2.3.4.", L" 1.2.3.4", L"a.b.c.d", L"1.2.3.-4",
                               L"0001.2.3.4", L"99999999999999999999.1.1.1", L"host.example"})
        EXPECT_FALSE(isIpv4Address(bad)) << bad;
}

TEST(StringExceptionTest, CarriesTextThroughCopyAndCatch)
{
    try {
        const string_exception original(std::string("self assignment in ") + "CMxf_SM_Track::assign");
        string_exception copy(original);
        throw copy;
    } catch (const std::exception& e) {
        EXPECT_STREQ(e.what(), "self assignment in CMxf_SM_Track::assign");
    }
}
