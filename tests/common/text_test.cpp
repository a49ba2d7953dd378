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
    for (const auto& [text, escaped] : {std::pair("a\nb\r\x1b[31m\x7f", "a\\nb\\x0d\\x1b[31m\\x7f"),
                                        std::pair("\x9b"
                                                  "31m",
                                                  "\\x9b31m"),
                                        std::pair("\xc2\x9b"
                                                  "31m",
                                                  "\\xc2\\x9b31m"),
                                        std::pair("cut \xe2\x82", "cut \\xe2\\x82"),
                                        std::pair("\xc0\x8a\xe0\x80\x8a\xf0\x80\x80\x8a",
                                                  "\\xc0\\x8a\\xe0\\x80\\x8a\\xf0\\x80\\x80\\x8a"),
                                        std::pair("\xed\xa0\x80\xf4\x90\x80\x80\xff",
                                                  "\\xed\\xa0\\x80\\xf4\\x90\\x80\\x80\\xff")})
        EXPECT_EQ(escapeControls(text), escaped);
    const std::string readable = "\xc2\xa0 \xc3\xa4 \xe2\x82\xac \xed\x9f\xbf \xf0\x9f\x99\x82";
    EXPECT_EQ(escapeControls(readable), readable);
}

}  // namespace
}  // namespace quill
