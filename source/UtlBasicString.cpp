// The string class, on the string primitives.
#include "UtlBasicString.h"

#include <algorithm>
#include <functional>
#include <utility>

#include "UtlStaticBuffer.h"
#include "internal/text/UtlStringSearch.h"

namespace utl
{

using internal::lengthOf;

namespace
{

unsigned int lengthOrNone(char const* npText)
{
    return npText != nullptr ? lengthOf(npText) : 0U;
}

} // namespace

template <class T>
BasicString<T>::BasicString(unsigned int nMaxSize, int nExpandMode)
    : mpData(new T[std::max(nMaxSize, 1U)]()),
      mMaxSize(std::max(nMaxSize, 1U)),
      mExpandMode(nExpandMode),
      mIsShared(false)
{
}

template <class T>
BasicString<T>::BasicString(T const* npText, unsigned int nMaxSize, int nExpandMode)
    : BasicString(std::max(lengthOrNone(npText) + 1, nMaxSize), nExpandMode)
{
    t_strncpy(mpData, mMaxSize, npText, STR_ALL);
}

template <class T>
BasicString<T>::~BasicString()
{
    exchangeBuffer(nullptr, 1);
}

template <class T>
BasicString<T>& BasicString<T>::operator=(T const* npText)
{
    unsigned int const lSize = lengthOrNone(npText) + 1;
    if (mMaxSize < lSize)
    {
        exchangeBuffer(std::unique_ptr<T[]>(new T[lSize]), lSize);
    }
    if (!mIsShared)
    {
        t_strncpy(mpData, mMaxSize, npText, STR_ALL);
    }
    return *this;
}

template <class T>
BasicString<T>& BasicString<T>::operator+=(T const* npText)
{
    unsigned int const lAdded = lengthOrNone(npText);
    if (lAdded == 0)
    {
        return *this;
    }
    unsigned int const lLength = lengthOf(mpData);
    std::unique_ptr<T[]> lOld; // freed at the end: npText may point into it
    if (mMaxSize - lLength <= lAdded)
    {
        unsigned int const lMaxSize = mMaxSize + lAdded + 1;
        std::unique_ptr<T[]> lBuffer(new T[lMaxSize]);
        t_strncpy(lBuffer.get(), lMaxSize, mpData, STR_ALL);
        lOld = exchangeBuffer(std::move(lBuffer), lMaxSize);
    }
    copyGeneral(mpData, mMaxSize, lLength, npText, 0, lAdded, 0);
    return *this;
}

template <class T>
bool BasicString<T>::resizeMax(unsigned int nMaxSize)
{
    if (nMaxSize == mMaxSize)
    {
        return true;
    }
    if (nMaxSize <= 1)
    {
        exchangeBuffer(nullptr, 1);
        return true;
    }
    std::unique_ptr<T[]> lBuffer(new T[nMaxSize]);
    lBuffer[0] = 0; // for malformed text, of which nothing is copied
    bool const lIsCopied = copyStrBase(lBuffer.get(), nMaxSize, mpData, nMaxSize - 1, 0) != STR_ERROR;
    exchangeBuffer(std::move(lBuffer), nMaxSize);
    return lIsCopied;
}

template <class T>
bool BasicString<T>::copy(T const* npText, unsigned int nMaxBytes, int nMode)
{
    unsigned int lCount = npText != nullptr ? internal::lengthUpTo(npText, nMaxBytes) : 0U;
    if (mExpandMode == 1 && mMaxSize <= lCount)
    {
        resizeMax(lCount + 1);
    }
    if (npText == nullptr)
    {
        return false;
    }
    if (nMaxBytes == 0 || mMaxSize == 1) // nothing to store: a text of capacity 1 is always empty
    {
        return nMaxBytes == 0 || lCount == 0 || nMode == 1;
    }
    if (nMode == 1)
    {
        lCount = getNearCharIndex(npText, std::min(lCount, mMaxSize - 1), 1);
    }
    return lCount < mMaxSize && t_strncpy(mpData, mMaxSize, npText, lCount) != STR_ERROR;
}

template <class T>
bool BasicString<T>::replace(T const* npPattern, T const* npReplacement, int nMode)
{
    if (isOwnText(npPattern))
    {
        return replace(BasicString(npPattern, 0, 0).mpData, npReplacement, nMode);
    }
    if (isOwnText(npReplacement))
    {
        return replace(npPattern, BasicString(npReplacement, 0, 0).mpData, nMode);
    }
    unsigned int const lGrowth = lengthOrNone(npReplacement) - lengthOrNone(npPattern); // wraps if it shrinks
    unsigned int const lSize = lengthOf(mpData) + 1 + occurrences(npPattern) * lGrowth;
    if (mExpandMode == 1 && mMaxSize < lSize)
    {
        resizeMax(lSize);
    }
    WorkingBuffer<T> const lText;
    if (copyStrBase(lText.get(), lText.CAPACITY, mpData, STR_ALL, 0) == STR_ERROR)
    {
        return false;
    }
    T lNone = 0; // written instead of the shared empty text, which all threads read
    return replaceStr<T>(mIsShared ? &lNone : mpData, mMaxSize, lText.get(), npPattern, npReplacement, nMode) !=
           STR_ERROR;
}

// Result: the old buffer, if it was our own. nBuffer: null for the shared empty text.
template <class T>
std::unique_ptr<T[]> BasicString<T>::exchangeBuffer(std::unique_ptr<T[]> nBuffer, unsigned int nMaxSize)
{
    std::unique_ptr<T[]> lOld(mIsShared ? nullptr : mpData);
    mIsShared = nBuffer == nullptr;
    mpData = mIsShared ? &EMPTY_CHAR : nBuffer.release();
    mMaxSize = nMaxSize;
    return lOld;
}

template <class T>
bool BasicString<T>::isOwnText(T const* npText) const
{
    std::less<T const*> const lIsBefore;
    return !mIsShared && !lIsBefore(npText, mpData) && lIsBefore(npText, mpData + mMaxSize);
}

template <class T>
unsigned int BasicString<T>::occurrences(T const* npPattern) const
{
    if (npPattern == nullptr || *npPattern == 0)
    {
        return npPattern != nullptr ? 1 : 0; // an empty pattern counts as one match
    }
    unsigned int const lLength = lengthOf(npPattern);
    unsigned int lCount = 0;
    unsigned int lMatch = 0;
    for (T const* lpAt = mpData; (lMatch = internal::findFrom(lpAt, npPattern)) != STR_ERROR; lpAt += lMatch + lLength)
    {
        ++lCount;
    }
    return lCount;
}

template class BasicString<char>;

} // namespace utl

utl::BasicString<char> operator+(char const* npLeft, utl::BasicString<char> const& nRight)
{
    unsigned int const lSize = utl::lengthOrNone(npLeft) + 1 + utl::lengthOf(nRight.c_str());
    utl::BasicString<char> lSum(npLeft, lSize, 0);
    lSum += nRight.c_str();
    return lSum;
}
