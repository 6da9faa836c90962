// The image of a message: writing values and reading them back.
#include "UtlThreadRawMsg.h"

#include <algorithm>
#include <cstring>
#include <cwchar>

namespace utl
{

namespace
{

unsigned int const ID_SIZE = 4;
unsigned int const WIDE_SIZE = sizeof(wchar_t);

static_assert(sizeof(int) == ID_SIZE && WIDE_SIZE == 4 && sizeof(bool) == 1, "the image counts on these");

} // namespace

ThreadRawMsg::ThreadRawMsg(unsigned int nMaxSize)
    : ThreadRawMsg(new unsigned char[std::max(nMaxSize, ID_SIZE)], std::max(nMaxSize, ID_SIZE))
{
}

ThreadRawMsg::ThreadRawMsg(unsigned char* npBuffer, unsigned int nSize)
    : mpBuffer(npBuffer),
      mMaxSize(nSize),
      mInputPos(0),
      mOutputPos(0),
      mResult(0)
{
}

ThreadRawMsg::ThreadRawMsg(ThreadRawMsg const& nOther)
    : ThreadRawMsg(nOther.mMaxSize)
{
    std::memcpy(mpBuffer, nOther.mpBuffer, mMaxSize);
}

ThreadRawMsg& ThreadRawMsg::operator=(ThreadRawMsg const& nOther)
{
    if (this == &nOther)
    {
        return *this;
    }
    if (mMaxSize != nOther.mMaxSize)
    {
        unsigned char* const lpBuffer = new unsigned char[nOther.mMaxSize];
        delete[] mpBuffer;
        mpBuffer = lpBuffer;
        mMaxSize = nOther.mMaxSize;
    }
    std::memcpy(mpBuffer, nOther.mpBuffer, mMaxSize);
    mInputPos = nOther.mInputPos;
    mOutputPos = nOther.mOutputPos;
    mResult = nOther.mResult;
    return *this;
}

ThreadRawMsg::~ThreadRawMsg()
{
    delete[] mpBuffer;
}

bool ThreadRawMsg::beginInput()
{
    mResult = 0;
    mInputPos = ID_SIZE;
    return true;
}

bool ThreadRawMsg::beginOutput()
{
    mResult = 0;
    mOutputPos = ID_SIZE;
    return true;
}

int ThreadRawMsg::getResult()
{
    return mResult;
}

bool ThreadRawMsg::setMsgId(int nMsgId)
{
    std::memcpy(mpBuffer, &nMsgId, ID_SIZE);
    return true;
}

bool ThreadRawMsg::getMsgId(int* npMsgId)
{
    if (npMsgId == nullptr)
    {
        return false;
    }
    std::memcpy(npMsgId, mpBuffer, ID_SIZE);
    return true;
}

inline bool ThreadRawMsg::fail()
{
    mResult = -1;
    return false;
}

// In most calls the size is a constant, so that the compiler makes a comparison and a move of them.
inline bool ThreadRawMsg::setBytes(void const* npBytes, unsigned long long nSize)
{
    if (mResult == -1)
    {
        return false;
    }
    if (npBytes == nullptr || nSize > mMaxSize - mInputPos)
    {
        return fail();
    }
    std::memcpy(mpBuffer + mInputPos, npBytes, static_cast<std::size_t>(nSize));
    mInputPos += static_cast<unsigned int>(nSize);
    return true;
}

inline bool ThreadRawMsg::getBytes(void* npTarget, unsigned long long nSize)
{
    if (mResult == -1)
    {
        return false;
    }
    if (npTarget == nullptr || nSize > mMaxSize - mOutputPos)
    {
        return fail();
    }
    std::memcpy(npTarget, mpBuffer + mOutputPos, static_cast<std::size_t>(nSize));
    mOutputPos += static_cast<unsigned int>(nSize);
    return true;
}

template <class T>
inline bool ThreadRawMsg::setValue(T nValue)
{
    return setBytes(&nValue, sizeof(T));
}

template <class T>
inline bool ThreadRawMsg::getValue(T* npValue)
{
    return getBytes(npValue, sizeof(T));
}

bool ThreadRawMsg::set(bool nValue)
{
    return setValue(nValue);
}

bool ThreadRawMsg::set(unsigned char nValue)
{
    return setValue(nValue);
}

bool ThreadRawMsg::set(unsigned short nValue)
{
    return setValue(nValue);
}

bool ThreadRawMsg::set(unsigned int nValue)
{
    return setValue(nValue);
}

bool ThreadRawMsg::set(unsigned long long nValue)
{
    return setValue(nValue);
}

bool ThreadRawMsg::set(signed char nValue)
{
    return setValue(nValue);
}

bool ThreadRawMsg::set(short nValue)
{
    return setValue(nValue);
}

bool ThreadRawMsg::set(int nValue)
{
    return setValue(nValue);
}

bool ThreadRawMsg::set(long long nValue)
{
    return setValue(nValue);
}

bool ThreadRawMsg::set(float nValue)
{
    return setValue(nValue);
}

bool ThreadRawMsg::set(double nValue)
{
    return setValue(nValue);
}

bool ThreadRawMsg::set(void* npValue)
{
    return setValue(npValue);
}

bool ThreadRawMsg::set(char const* npText)
{
    if (mResult == -1)
    {
        return false;
    }
    return setBytes(npText, npText != nullptr ? std::strlen(npText) + 1ULL : 0);
}

bool ThreadRawMsg::set(wchar_t const* npText)
{
    return setBytes(npText, npText != nullptr ? WIDE_SIZE * (std::wcslen(npText) + 1ULL) : 0);
}

bool ThreadRawMsg::set(unsigned char const* npBytes, unsigned int nSize)
{
    return setBytes(npBytes, nSize);
}

bool ThreadRawMsg::get(bool* npValue)
{
    unsigned char lByte = 0;
    if (npValue == nullptr)
    {
        return fail();
    }
    if (!getValue(&lByte))
    {
        return false;
    }
    *npValue = lByte != 0;
    return true;
}

bool ThreadRawMsg::get(unsigned char* npValue)
{
    return getValue(npValue);
}

bool ThreadRawMsg::get(unsigned short* npValue)
{
    return getValue(npValue);
}

bool ThreadRawMsg::get(unsigned int* npValue)
{
    return getValue(npValue);
}

bool ThreadRawMsg::get(unsigned long long* npValue)
{
    return getValue(npValue);
}

bool ThreadRawMsg::get(signed char* npValue)
{
    return getValue(npValue);
}

bool ThreadRawMsg::get(short* npValue)
{
    return getValue(npValue);
}

bool ThreadRawMsg::get(int* npValue)
{
    return getValue(npValue);
}

bool ThreadRawMsg::get(long long* npValue)
{
    return getValue(npValue);
}

bool ThreadRawMsg::get(float* npValue)
{
    return getValue(npValue);
}

bool ThreadRawMsg::get(double* npValue)
{
    return getValue(npValue);
}

bool ThreadRawMsg::get(void** npValue)
{
    return getValue(npValue);
}

bool ThreadRawMsg::get(char* npBuffer, unsigned int nMaxLength)
{
    int const lLength = checkOutputStrLength(nMaxLength);
    return lLength != -1 && getBytes(npBuffer, static_cast<unsigned int>(lLength));
}

bool ThreadRawMsg::get(wchar_t* npBuffer, unsigned int nMaxLength)
{
    int const lLength = checkOutputWideStrLength(nMaxLength);
    return lLength != -1 && getBytes(npBuffer, static_cast<unsigned int>(lLength) * WIDE_SIZE);
}

bool ThreadRawMsg::get(unsigned char* npBuffer, unsigned int nSize)
{
    return getBytes(npBuffer, nSize);
}

int ThreadRawMsg::checkOutputStrLength(unsigned int nMaxLength) const
{
    unsigned char const* const lpText = mpBuffer + mOutputPos;
    void const* const lpEnd = std::memchr(lpText, 0, std::min(nMaxLength, mMaxSize - mOutputPos));
    return lpEnd != nullptr ? static_cast<int>(static_cast<unsigned char const*>(lpEnd) - lpText) + 1 : -1;
}

int ThreadRawMsg::checkOutputWideStrLength(unsigned int nMaxLength) const
{
    unsigned int const lMaxLength = std::min(nMaxLength, (mMaxSize - mOutputPos) / WIDE_SIZE);
    for (unsigned int lIndex = 0; lIndex < lMaxLength; ++lIndex)
    {
        wchar_t lChar;
        std::memcpy(&lChar, mpBuffer + mOutputPos + lIndex * WIDE_SIZE, WIDE_SIZE); // not aligned here
        if (lChar == 0)
        {
            return static_cast<int>(lIndex) + 1;
        }
    }
    return -1;
}

} // namespace utl
