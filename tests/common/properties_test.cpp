#include "common/properties.h"

#include <gmock/gmock.h>

#include <vector>

#include "other_module.h"

QUILL_DEFINE_PROPERTY(int, p_first, "first", 34);
QUILL_DEFINE_PROPERTY(std::string, p_second, "second", "text");

namespace
{

const quill::StaticProperty<int> p_without_file("group/third", -1, nullptr);

using Queue =
    quill::StaticDeferredInit<quill::StaticPropertyInitTag, quill::StaticPropertyInitArgs>;

quill::PropertyValue valueOf(std::string text)
{
    quill::PropertyValue value;
    value.set<std::string>(std::move(text));
    return value;
}

/// Binds the properties of this program once, as the start-up does.
class Properties : public testing::Test
{
  protected:
    static void SetUpTestSuite() { quill::initializeStaticProperties(); }

    static std::shared_ptr<quill::PropertyNode> node(const std::string& path)
    {
        return quill::propertyTree()->getNode(path, false);
    }
};

TEST_F(Properties, ReadTheirDefaultUntilTheNodeChanges)
{
    EXPECT_EQ(p_first(), 34);
    EXPECT_EQ(p_second(), "text");
    node("first")->setValue(valueOf(" 250"));
    EXPECT_EQ(p_first(), 250);
    node("first")->setValue(quill::PropertyValue());
    EXPECT_EQ(p_first(), 34);

    quill::PropertyValue number;
    number.set(-5);
    node("second")->setValue(number);
    EXPECT_EQ(p_second(), "-5");
}

TEST_F(Properties, GivenAsTextBeforeBindingWinOverTheDefault)
{
    quill::propertyTree()->getNode("late", true)->setValue(valueOf("12"));
    const quill::StaticProperty<int> late("late", 1, __FILE__);
    quill::initializeStaticProperties();
    EXPECT_EQ(late(), 12);
    EXPECT_EQ(node("late")->defaultValue().toString(), "1");
}

TEST_F(Properties, RecordTheDeclaringFileOnTheNode)
{
    EXPECT_EQ(node("first")->meta("file_name").toString(), "tests/common/properties_test.cpp");
    EXPECT_TRUE(node("group/third")->meta("file_name").isEmpty());
}

TEST_F(Properties, AreOneSystemForProgramAndLibraries)
{
    using quill::property_internal::PropertyValueOperatorsT;
    EXPECT_EQ(otherQueueHead(), &Queue::s_head);
    EXPECT_EQ(otherIntOperators(), PropertyValueOperatorsT<int>::staticCopy().get());
    EXPECT_EQ(otherStringOperators(), PropertyValueOperatorsT<std::string>::staticCopy().get());

    EXPECT_EQ(readOtherSetting(), 7);
    node("other/speed")->setValue(valueOf("8"));
    EXPECT_EQ(readOtherSetting(), 8);
    EXPECT_EQ(node("other/speed")->meta("file_name").toString(), "tests/common/other_module.cpp");
}

TEST_F(Properties, QueueTheLastDeclaredFirst)
{
    Queue* const before = Queue::s_head;
    const quill::StaticProperty<int> a("queue/a", 0, nullptr);
    Queue* const first = Queue::s_head;
    const quill::StaticProperty<int> b("queue/b", 0, nullptr);
    EXPECT_EQ(Queue::s_head->next, first);
    EXPECT_EQ(first->next, before);
    quill::initializeStaticProperties();
}

TEST_F(Properties, MayGoBeforeTheyAreBoundAndOthersTakeTheirPlaceInMemory)
{
    alignas(quill::StaticProperty<int>) std::byte place[sizeof(quill::StaticProperty<int>)];
    const auto make = [&](const char* path) {
        return new (place) quill::StaticProperty<int>(path, 9, nullptr);
    };
    Queue* const before = Queue::s_head;
    const quill::StaticProperty<int> older("queue/older", 8, nullptr);
    auto* property = make("queue/gone");
    const quill::StaticProperty<int> newer("queue/newer", 7, nullptr);
    property->~StaticProperty();
    EXPECT_EQ(Queue::s_head->next->next, before);

    for (const char* path : {"queue/bound", "queue/successor"}) {
        property = make(path);
        quill::initializeStaticProperties();
        EXPECT_EQ((*property)(), 9) << path;
        property->~StaticProperty();
    }
    EXPECT_EQ(older() * 10 + newer(), 87);
    EXPECT_EQ(node("queue/gone"), nullptr);
}

TEST_F(Properties, WithoutAPathAreOurMistake)
{
    std::vector<std::string> messages;
    quill::setAssertionHandler([&](const char* file, int, const char*, const char* message) {
        messages.push_back(std::string(file) + ": " + message);
        return false;
    });
    const quill::StaticProperty<int> nameless("", 3, nullptr);
    quill::initializeStaticProperties();
    quill::setAssertionHandler(nullptr);
    EXPECT_THAT(messages, testing::ElementsAre("common/properties.h: Assertion failed: Property "
                                               "path cannot be empty string."));
}

TEST(PropertiesDeathTest, ReadBeforeTheyAreBoundStopTheProgram)
{
    const auto read = [] { (void)quill::StaticProperty<int>("unbound", 3, nullptr)(); };
    EXPECT_EXIT(read(), testing::KilledBySignal(SIGTRAP),
                "^Tried to use a static property \\(unbound\\) before the property system is "
                "initialized\\.$");
}

}  // namespace
