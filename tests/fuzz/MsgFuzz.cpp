// Message images of arbitrary bytes: any sequence of begins, stores and reads does the same as a model that keeps a
// vector and two positions, and touches nothing outside the image. The first byte is the capacity.
#include <iterator>

#include "UtlThreadRawMsg.h"
#include "reference/Input.h"

using namespace utl;
using test::require;

namespace
{

class Images
{
public:
    Images(std::uint8_t const* npData, std::size_t nSize)
        : mInput(npData, npData + nSize),
          mRaw(take<unsigned char>()),
          mBytes(mRaw.maxSize())
    {
        std::generate(mBytes.begin(), mBytes.end(), [this] { return take<unsigned char>(); });
        std::memcpy(mRaw.buffer(), mBytes.data(), mBytes.size());
        static auto const STEPS = stepsOf<unsigned char, unsigned short, unsigned int, unsigned long long, signed char,
                                          short, int, long long, double, void*>();
        while (mAt != mInput.size())
        {
            unsigned char const lChoice = take<unsigned char>();
            (this->*STEPS[lChoice / 2 % std::size(STEPS)])(lChoice % 2 != 0);
            require(mRaw.getResult() == (mHasFailed ? -1 : 0));
            require(std::equal(mBytes.begin(), mBytes.end(), mRaw.buffer(), mRaw.buffer() + mRaw.maxSize()));
        }
    }

private:
    using Step = void (Images::*)(bool);

    template <class... T>
    static std::vector<Step> stepsOf()
    {
        return {&Images::value<T>..., &Images::text<char>, &Images::text<wchar_t>,
                &Images::bytes,       &Images::rewind,     &Images::assign};
    }

    template <class T>
    T take()
    {
        T lValue{};
        std::size_t const lSize = std::min(sizeof(T), mInput.size() - mAt);
        std::memcpy(&lValue, mInput.data() + mAt, lSize);
        mAt += lSize;
        return lValue;
    }

    // One transfer between the image and nSize bytes; nCall does it, and must agree with the model.
    template <class Call>
    void transfer(bool nIsStore, void* npBytes, std::size_t nSize, Call nCall)
    {
        std::size_t& lPosition = nIsStore ? mStorePosition : mReadPosition;
        mHasFailed = mHasFailed || nSize > mBytes.size() - lPosition;
        require(nCall() == !mHasFailed);
        if (!mHasFailed)
        {
            unsigned char* const lpImage = mBytes.data() + lPosition;
            require(nIsStore || std::memcmp(npBytes, lpImage, nSize) == 0);
            std::memcpy(lpImage, npBytes, nSize);
            lPosition += nSize;
        }
    }

    template <class T>
    void value(bool nIsStore)
    {
        T lValue = take<T>();
        transfer(nIsStore, &lValue, sizeof(T), [&] { return nIsStore ? mRaw.set(lValue) : mRaw.get(&lValue); });
    }

    void bytes(bool nIsStore)
    {
        unsigned int const lSize = take<unsigned char>();
        std::vector<unsigned char> lBytes(lSize + 1, 0x5A); // never null
        unsigned char* const lpBytes = lBytes.data();
        transfer(nIsStore, lpBytes, lSize,
                 [&] { return nIsStore ? mRaw.set(lpBytes, lSize) : mRaw.get(lpBytes, lSize); });
    }

    template <class T>
    void text(bool nIsStore)
    {
        std::basic_string<T> lText;
        if (nIsStore)
        {
            for (T lChar = take<T>(); lChar % 8 != 0; lChar = take<T>()) // short ones, which fit
            {
                lText += lChar;
            }
            transfer(true, &lText[0], (lText.size() + 1) * sizeof(T), [&] { return mRaw.set(lText.c_str()); });
            return;
        }
        lText.resize((mBytes.size() - mReadPosition) / sizeof(T));
        std::memcpy(&lText[0], mBytes.data() + mReadPosition, lText.size() * sizeof(T));
        std::size_t const lSize = lText.find(T(0)) == lText.npos ? ~0U : lText.find(T(0)) + 1;
        unsigned int const lMaxLength =
            static_cast<unsigned int>(lSize) + take<unsigned char>() % 5 - 3U; // or no limit
        if (lSize > lMaxLength || lSize > lText.size())
        {
            lText.assign(lText.size(), T('.'));
            std::basic_string<T> const lKept(lText);
            require(!mRaw.get(&lText[0], lMaxLength) && lText == lKept); // and no failure
            return;
        }
        std::vector<T> lTarget(lSize);
        transfer(false, lTarget.data(), lSize * sizeof(T), [&] { return mRaw.get(lTarget.data(), lMaxLength); });
    }

    // Each forgets a failure.
    void rewind(bool nIsStore)
    {
        if (take<unsigned char>() % 4 == 0)
        {
            mRaw = ThreadRawMsg(mRaw); // a copy is at 0
            mStorePosition = mReadPosition = 0;
        }
        else
        {
            require(nIsStore ? mRaw.beginInput() : mRaw.beginOutput());
            (nIsStore ? mStorePosition : mReadPosition) = 4;
        }
        mHasFailed = false;
    }

    // An assignment takes everything along, whatever stood there.
    void assign(bool)
    {
        ThreadRawMsg lOther(take<unsigned char>());
        lOther = mRaw;
        mRaw = ThreadRawMsg(take<unsigned char>());
        mRaw = lOther;
    }

    std::vector<unsigned char> const mInput;
    std::size_t mAt = 0;
    ThreadRawMsg mRaw;
    std::vector<unsigned char> mBytes; // what the image must be
    std::size_t mStorePosition = 0;
    std::size_t mReadPosition = 0;
    bool mHasFailed = false;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* npData, std::size_t nSize)
{
    if (nSize > 0)
    {
        Images(npData, nSize);
    }
    return 0;
}
