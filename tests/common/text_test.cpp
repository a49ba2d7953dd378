#include "common/text.h"

#include <gtest/gtest.h>

namespace quill
{
namespace
{

using Pieces = std::vector<std::string>;

TEST(SplitString, DropsEmptyPiecesUnlessAskedToKeepThem)
{
    const struct
    {
        const char* text;
        Pieces dropped;
        Pieces kept;
    } cases[] = {
        {"", {}, {""}},
        {";", {}, {"", ""}},
        {"a", {"a"}, {"a"}},
        {"a;b", {"a", "b"}, {"a", "b"}},
        {";;a; b ;", {"a", " b "}, {"", "", "a", " b ", ""}},
    };
    for (const auto& c : cases) {
        Pieces pieces;
        SplitString(c.text, ";", &pieces, kSplitDefault);
        EXPECT_EQ(pieces, c.dropped) << c.text;
        pieces = {"before"};
        SplitString(c.text, ";", &pieces, kSplitKeepEmpty);
        pieces.erase(pieces.begin());
        EXPECT_EQ(pieces, c.kept) << c.text;
    }
}

TEST(NearestText, FindsWhatWasMeant)
{
    const Pieces names = {"commands",   "device",     "dxlbaudnum",
                          "margin1neg", "margin1pos", "margin2"};
    for (const auto& [typed, meant] :
         {std::pair("devcie", "device"), std::pair("dxlbaud", "dxlbaudnum"),
          std::pair("margin1", "margin2"), std::pair("COMMANDS", "commands"),
          std::pair("", "device")})
        EXPECT_EQ(nearestText(typed, names), meant) << typed;
    EXPECT_EQ(nearestText("x", {}), "");
}

TEST(EscapeControls, LeavesOneLineWithoutControlCharacters)
{
    EXPECT_EQ(escapeControls("a\nb\r\x1b[31m\x7f"), "a\\nb\\x0d\\x1b[31m\\x7f");
    EXPECT_EQ(escapeControls("Umlaut \xc3\xa4"), "Umlaut \xc3\xa4");
}

}  // namespace
}  // namespace quill
