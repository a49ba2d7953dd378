#include "common/property_value.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace quill
{
namespace
{

template <typename T>
PropertyValue holding(T value)
{
    PropertyValue made;
    made.set<T>(std::move(value));
    return made;
}

/// Notes failed checks and lets the code go on, as under a debugger.
class AssertionNotes
{
  public:
    AssertionNotes()
    {
        setAssertionHandler([this](const char* file, int, const char*, const char* message) {
            text += std::string(file) + ": " + message;
            return false;
        });
    }
    ~AssertionNotes() { setAssertionHandler(nullptr); }

    std::string text;
};

TEST(PropertyValue, ReadsTextAsIntLikeAStream)
{
    const struct
    {
        const char* text;
        std::optional<int> expected;
        int leftBehind;
    } cases[] = {
        {"42", 42, 0},
        {" 42", 42, 0},
        {"+42", 42, 0},
        {"42 ", 42, 0},
        {"42abc", 42, 0},
        {"0x1A", 0, 0},
        {"3.7", 3, 0},
        {"-2147483648", -2147483647 - 1, 0},
        {"", std::nullopt, 99},
        {"   ", std::nullopt, 99},
        {"abc", std::nullopt, 0},
        {"-", std::nullopt, 0},
        {"99999999999", std::nullopt, 2147483647},
        {"-99999999999", std::nullopt, -2147483647 - 1},
    };
    const auto& operators = *property_internal::PropertyValueOperatorsT<int>::staticCopy();
    for (const auto& c : cases) {
        AssertionNotes notes;
        EXPECT_EQ(operators.canConvertToTypeFromString(c.text), c.expected.has_value()) << c.text;
        EXPECT_EQ(notes.text, "") << "only asked: " << c.text;

        int number = 99;
        EXPECT_TRUE(holding<std::string>(c.text).get(number)) << c.text;
        EXPECT_EQ(number, c.expected.value_or(c.leftBehind)) << c.text;
        const std::string report =
            "common/property_value.h: Assertion failed: Failed conversion from ";
        EXPECT_EQ(notes.text, c.expected ? "" : report + c.text + ".");
    }
}

TEST(PropertyValue, ReadsIntAsDecimalText)
{
    for (const auto& [number, text] :
         {std::pair(34, "34"), std::pair(-5, "-5"), std::pair(-2147483647 - 1, "-2147483648")}) {
        std::string read;
        EXPECT_TRUE(holding(number).get(read));
        EXPECT_EQ(read, text);
    }
}

TEST(PropertyValue, EmptyOneLeavesTheOutputAlone)
{
    int number = 99;
    std::string text = "kept";
    EXPECT_FALSE(PropertyValue().get(number));
    EXPECT_FALSE(PropertyValue().get(text));
    EXPECT_EQ(number, 99);
    EXPECT_EQ(text, "kept");
}

// Long enough that the string has a block of its own: a leak or a double free shows under the
// address sanitizer.
const std::string kLong(100, 'x');

bool holdsItsObjectInside(const PropertyValue& value)
{
    const auto* object = static_cast<const char*>(value.object());
    return object >= reinterpret_cast<const char*>(&value) &&
           object < reinterpret_cast<const char*>(&value + 1);
}

TEST(PropertyValue, KeepsStringsInAHeapBlockAndIntsInside)
{
    PropertyValue value = holding(kLong);
    EXPECT_EQ(value.objectSize(), sizeof(std::string));
    EXPECT_STREQ(value.type()->typeName(), "string");
    EXPECT_FALSE(holdsItsObjectInside(value));
    value.set<std::string>(kLong + "other");
    EXPECT_EQ(value.toString(), kLong + "other");

    value.set(5);
    EXPECT_EQ(value.objectSize(), 4u);
    EXPECT_STREQ(value.type()->typeName(), "int32");
    EXPECT_TRUE(holdsItsObjectInside(value));
    value.set(kLong);
    EXPECT_EQ(value.toString(), kLong);
}

TEST(PropertyValue, CopiesAreIndependentWhateverWasThereBefore)
{
    const PropertyValue values[] = {PropertyValue(), holding(7), holding(kLong)};
    for (const auto& from : values) {
        for (const auto& to : values) {
            PropertyValue target(to);
            target = from;
            EXPECT_EQ(target, from);
            EXPECT_TRUE(target.isEmpty() || target.object() != from.object());
            target.set<std::string>("changed");
            EXPECT_NE(target, from);
        }
    }
    PropertyValue self = holding(kLong);
    self = *&self;
    EXPECT_EQ(self.toString(), kLong);
}

TEST(PropertyValue, ComparesWithinOneTypeOnly)
{
    EXPECT_EQ(holding(7), holding(7));
    EXPECT_NE(holding(7), holding(8));
    EXPECT_NE(holding(7), holding<std::string>("7"));
    EXPECT_NE(holding<std::string>(std::string("a\0b", 3)), holding<std::string>("a"));
    EXPECT_NE(PropertyValue(), holding(0));
    EXPECT_EQ(PropertyValue(), PropertyValue());
}

}  // namespace
}  // namespace quill
