#include "common/property_node.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace quill
{
namespace
{

PropertyValue text(const std::string& characters)
{
    PropertyValue value;
    value.set<std::string>(characters);
    return value;
}

/// A node and all that its observers are told, as "kind name value counter".
class Node : public testing::Test
{
  protected:
    Node()
    {
        node->addObserver([this](auto&, const PropertyChangeInfo& change) {
            changes.push_back(std::to_string(change.kind) + " " + change.name + " " +
                              change.value.toString() + " " + std::to_string(change.counter));
        });
    }

    std::vector<std::string> takeChanges() { return std::exchange(changes, {}); }
    using Changes = std::vector<std::string>;

    std::shared_ptr<PropertyNode> node = std::make_shared<PropertyNode>();
    Changes changes;
};

TEST_F(Node, IsFoundAgainUnderItsPath)
{
    EXPECT_EQ(node->getNode("a/b/c", false), nullptr);
    const auto made = node->getNode("a/b/c", true);
    EXPECT_EQ(node->getNode("/a//b/c/", false), made);
    EXPECT_EQ(node->getNode("a", false)->getNode("b/c", true), made);
    EXPECT_EQ(node->getNode("", false), node);

    std::string paths;
    node->visitNodes([&](const std::string& path, PropertyNode&) { paths += path + " "; });
    EXPECT_EQ(paths, "a a/b a/b/c ");
}

TEST_F(Node, TellsOfValuesAndDefaults)
{
    node->setDefaultValue(text("d"));
    EXPECT_EQ(node->get<std::string>(), "d");
    EXPECT_EQ(takeChanges(), Changes{"2  d 1"});
    node->setDefaultValue(text("d"));
    EXPECT_EQ(takeChanges(), Changes{}) << "nothing changed";

    node->setValue(text("v"));
    node->setValue(text("v"));
    node->setDefaultValue(text("e"));
    EXPECT_EQ(node->get<std::string>(), "v");
    EXPECT_EQ(takeChanges(), (Changes{"1  v 2", "2  e 3"}));
}

TEST_F(Node, TellsOfOneMetadataEntryOnceForEachChange)
{
    EXPECT_EQ(node->setMeta<std::string>("file_name", "a"), 1u);
    EXPECT_EQ(node->setMeta<std::string>("file_name", "a"), 0u);
    EXPECT_EQ(node->setMeta<std::string>("File_Name", "a"), 2u) << "another key";
    EXPECT_EQ(node->setMeta<std::string>("file_name", "b"), 3u);
    EXPECT_EQ(node->setMeta<int>("file_name", 4), 4u) << "the same entry with another type";
    EXPECT_EQ(takeChanges(), (Changes{"3 file_name a 1", "3 File_Name a 2", "3 file_name b 3",
                                      "3 file_name 4 4"}));
}

TEST_F(Node, ReplacesAllMetadataByCopies)
{
    EXPECT_EQ(node->setAllMeta(std::make_shared<PropertyMetadata>()), 0u);
    EXPECT_EQ(node->setAllMeta(nullptr), 0u);

    const auto wanted = std::make_shared<PropertyMetadata>();
    (*wanted)["x"] = text("1");
    EXPECT_EQ(node->setAllMeta(wanted), 1u);
    EXPECT_EQ(node->setAllMeta(wanted), 0u);
    (*wanted)["x"] = text("2");
    EXPECT_EQ(node->meta("x").toString(), "1") << "the caller's map is not shared";
    EXPECT_EQ(node->setAllMeta(wanted), 2u);
    EXPECT_EQ(node->setAllMeta(nullptr), 3u);
    EXPECT_EQ(PropertyNodeData::SharedDataLock(node.get(), nullptr)->metaMap, nullptr);
    EXPECT_TRUE(node->meta("x").isEmpty());
    EXPECT_EQ(takeChanges(), (Changes{"3 *  1", "3 *  2", "3 *  3"}));
}

TEST_F(Node, LetsObserversWorkOnItUnderTheHeldLock)
{
    int calls = 0;
    int second = 0;
    const int first = node->addObserver([&](PropertyNodeData::SharedDataLock& lock, const auto&) {
        ++calls;
        node->removeObserver(second, &lock);
        PropertyNodeData::SharedDataLock again(node.get(), &lock);
        again->meta("seen").set(calls);
    });
    second = node->addObserver([&](auto&, const auto&) { ADD_FAILURE() << "was removed"; });
    node->setValue(text("v"));
    EXPECT_EQ(node->meta("seen").toString(), "1");
    EXPECT_TRUE(node->removeObserver(first));
    EXPECT_FALSE(node->removeObserver(first));
    node->setValue(text("w"));
    EXPECT_EQ(calls, 1);
}

TEST_F(Node, WithoutAValueIsReportedAndReadsAsZero)
{
    std::string message;
    setAssertionHandler([&](const char* file, int, const char* function, const char* said) {
        message = std::string(file) + ": " + function + ": " + said;
        return false;
    });
    EXPECT_EQ(node->get<int>(), 0);
    setAssertionHandler(nullptr);
    EXPECT_EQ(message,
              "common/property_node.h: T quill::PropertyNode::get() [with T = int]: Assertion "
              "failed: d->value.get<T>(temp)");
}

TEST_F(Node, IsNeverReadHalfChanged)
{
    const std::string a(200, 'a');
    const std::string b(300, 'b');
    node->setValue(text(a));
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int i = 0; i < 2000; ++i) {
            node->setValue(text(i % 2 == 0 ? b : a));
            node->getNode("child" + std::to_string(i % 10), true)->setMeta<int>("i", i);
        }
        done = true;
    });
    size_t torn = 0;
    while (!done) {
        const std::string read = node->get<std::string>();
        torn += read != a && read != b;
        node->getNode("child3", true)->setMeta<std::string>("reader", read);
    }
    writer.join();
    EXPECT_EQ(torn, 0u);
    EXPECT_EQ(changes.size(), 2001u);
}

}  // namespace
}  // namespace quill
