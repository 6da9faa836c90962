/// An extended regular expression of the platform's; std::regex does not compile without warnings under all sanitizers.
#ifndef UTL_TEST_PATTERN_H
#define UTL_TEST_PATTERN_H

#include <cstdlib>
#include <string>

#include <regex.h>

namespace utl::test
{

class Pattern
{
public:
    static constexpr unsigned int MAX_GROUPS = 16;

    explicit Pattern(std::string const& nText)
    {
        if (::regcomp(&mPattern, nText.c_str(), REG_EXTENDED) != 0)
        {
            std::abort();
        }
    }
    ~Pattern() { ::regfree(&mPattern); }
    Pattern(Pattern const&) = delete;
    Pattern& operator=(Pattern const&) = delete;

    /// Result: it is somewhere in the text.
    bool finds(std::string const& nText) { return ::regexec(&mPattern, nText.c_str(), MAX_GROUPS, mGroups, 0) == 0; }

    /// Of the last text: the number that a group matched; -1 if it did not.
    long number(std::string const& nText, unsigned int nGroup) const
    {
        regoff_t const lBegin = mGroups[nGroup].rm_so;
        return lBegin != -1 ? std::strtol(nText.c_str() + lBegin, nullptr, 10) : -1;
    }

private:
    regex_t mPattern;
    regmatch_t mGroups[MAX_GROUPS] = {};
};

} // namespace utl::test

#endif
