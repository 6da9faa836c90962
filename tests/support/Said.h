/// A row of answers to compare at once.
#ifndef UTL_TEST_SAID_H
#define UTL_TEST_SAID_H

#include <initializer_list>
#include <string>

namespace utl::test
{

/// y or n for each answer, in the order of the calls: EXPECT_EQ("yn", said({lQueue.push(1), lQueue.push(2)})).
inline std::string said(std::initializer_list<bool> nAnswers)
{
    std::string lSaid;
    for (bool const lAnswer : nAnswers)
    {
        lSaid += lAnswer ? 'y' : 'n';
    }
    return lSaid;
}

} // namespace utl::test

#endif
