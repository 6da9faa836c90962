// Two threads share a pool: one takes blocks and fills them, the other checks them and gives them back.
#include "UtlMemoryPool.h"
#include "UtlQueue.h"

#include <cstdio>
#include <functional>
#include <string_view>
#include <thread>

namespace
{

constexpr unsigned int BLOCKS = 8;
constexpr unsigned int MESSAGES = 1000;

struct Message
{
    unsigned int mNumber;
    char mText[28];
};

/// Blocks that were filled and not yet checked. The queue has room for all blocks of the pool, so it never refuses.
class Box
{
public:
    void put(Message* npMessage)
    {
        utl::SyncGuard lGuard(mSyncObject);
        (void)mQueue.push(npMessage);
    }

    Message* take()
    {
        utl::SyncGuard lGuard(mSyncObject);
        if (mQueue.size() == 0)
        {
            return nullptr;
        }
        Message* const lpMessage = *mQueue.at(0);
        mQueue.pop();
        return lpMessage;
    }

private:
    utl::SyncObject mSyncObject;
    utl::Queue<Message*> mQueue{BLOCKS};
};

void fill(utl::MemoryPool& nPool, Box& nBox)
{
    for (unsigned int lNumber = 0; lNumber < MESSAGES;)
    {
        // An empty pool is no fault: the other thread will give a block back.
        if (auto* const lpMessage = static_cast<Message*>(nPool.create()))
        {
            lpMessage->mNumber = lNumber;
            std::snprintf(lpMessage->mText, sizeof(lpMessage->mText), "message %u", lNumber);
            nBox.put(lpMessage);
            ++lNumber;
        }
        else
        {
            std::this_thread::yield();
        }
    }
}

} // namespace

int main()
{
    utl::MemoryPool lPool(sizeof(Message), BLOCKS, "messages");
    Box lBox;
    std::thread lFiller(fill, std::ref(lPool), std::ref(lBox));
    unsigned int lGood = 0;
    for (unsigned int lNumber = 0; lNumber < MESSAGES;)
    {
        if (Message* const lpMessage = lBox.take())
        {
            char lExpected[28];
            std::snprintf(lExpected, sizeof(lExpected), "message %u", lNumber);
            lGood += lpMessage->mNumber == lNumber && std::string_view(lExpected) == lpMessage->mText ? 1U : 0U;
            lPool.release(lpMessage);
            ++lNumber;
        }
        else
        {
            std::this_thread::yield();
        }
    }
    lFiller.join();
    std::printf("%u of %u messages came whole through %u blocks\n", lGood, MESSAGES, BLOCKS);
    return lGood == MESSAGES ? 0 : 1;
}
