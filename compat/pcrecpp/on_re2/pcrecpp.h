#pragma once

#include <re2/re2.h>

#include <cstddef>
#include <string>

/// The part of pcrecpp that we call, for systems that no longer have it: the same results for the
/// same pattern and text, from RE2, whose interface descends from it.
namespace pcrecpp
{

/// Where a captured group goes; does not own it. An `int` takes the whole group as one number to
/// base 10 (leading zeros and a minus sign allowed) within its range, otherwise there is no match;
/// a `std::string` takes the bytes unchanged.
using Arg = RE2::Arg;

class RE_Options
{
  public:
    /// Of no account: RE2's time grows with the length of the text only, it tries no two ways.
    RE_Options& set_match_limit(int) { return *this; }
};

/// A compiled pattern. Texts are bytes, as with pcrecpp's default options: none is invalid. May be
/// used by many threads at once.
class RE
{
  public:
    /// @param pattern  with \s outside of brackets only; one that does not compile matches nothing,
    /// and
    ///                 RE2 writes to standard error why
    RE(const std::string& pattern, const RE_Options&)
        : m_re2(withBlanksOfPcre(pattern), RE2::Latin1)
    {}

    /// Whether the pattern matches all of the text and every group fits its argument. On a mismatch
    /// the arguments may have been written to.
    /// @param arguments  one for each of the pattern's groups or fewer, in order
    template <typename... Arguments>
    bool FullMatch(const std::string& text, const Arguments&... arguments) const
    {
        // One more than there are, since an array has at least one element.
        const Arg* const pointers[] = {&arguments..., nullptr};
        return RE2::FullMatchN(text, m_re2, pointers, sizeof...(arguments));
    }

  private:
    /// PCRE's \s takes a vertical tab, RE2's does not, but its [:space:] does.
    static std::string withBlanksOfPcre(const std::string& pattern)
    {
        std::string result;
        for (size_t i = 0; i < pattern.size(); ++i) {
            const std::string escape = pattern[i] == '\\' ? pattern.substr(i++, 2) : "";
            if (escape == "\\s")
                result += "[[:space:]]";
            else
                result += escape.empty() ? pattern.substr(i, 1) : escape;
        }
        return result;
    }

    RE2 m_re2;
};

}  // namespace pcrecpp
