// Several listeners on one message thread: a total, a journal, and a journal that leaves after its last word.
#include "UtlMsgDrivenSharedThread.h"

#include <cstdio>
#include <cstring>
#include <string>

namespace
{

int const MSG_ID_WORD = 1;
int const MSG_ID_REPORT = 2;

class WordMsg : public utl::Msg
{
public:
    explicit WordMsg(char const* npWord = "")
        : Msg(MSG_ID_WORD)
    {
        std::snprintf(mWord, sizeof(mWord), "%s", npWord);
    }

    void storeDataTo(utl::MsgDataBroker* npBroker) const override { npBroker->set(static_cast<char const*>(mWord)); }
    void restoreDataFrom(utl::MsgDataBroker& nBroker) override { nBroker.get(mWord, sizeof(mWord)); }

    char mWord[16];
};

/// Counts letters, and prints the number when asked. Only the message thread uses its members.
class Total : public utl::ThreadMsgListener
{
public:
    void receiveMsg(int, utl::ThreadRawMsg& nRawMsg) override
    {
        int lMsgId = utl::MSG_ID_NONE;
        nRawMsg.getMsgId(&lMsgId);
        WordMsg lMsg;
        if (lMsgId == MSG_ID_WORD && lMsg.restoreFrom(nRawMsg))
        {
            mLetters += static_cast<unsigned int>(std::strlen(lMsg.mWord));
        }
        else if (lMsgId == MSG_ID_REPORT)
        {
            mReported = mLetters;
        }
    }

    unsigned int mLetters = 0;
    unsigned int mReported = 0;
};

/// Notes the words that it gets, and detaches itself after its last word, in the middle of the broadcast.
class Journal : public utl::ThreadMsgListener
{
public:
    Journal(utl::MsgDrivenSharedThread* npThread, char const* npLastWord)
        : mpThread(npThread),
          mpLastWord(npLastWord)
    {
    }

    void receiveMsg(int, utl::ThreadRawMsg& nRawMsg) override
    {
        WordMsg lMsg;
        lMsg.restoreFrom(nRawMsg);
        mText += std::string(lMsg.mWord) + " ";
        if (mpLastWord != nullptr && std::strcmp(lMsg.mWord, mpLastWord) == 0)
        {
            mpThread->detachMsgListener(this);
        }
    }

    std::string mText;

private:
    utl::MsgDrivenSharedThread* const mpThread;
    char const* const mpLastWord;
};

} // namespace

int main()
{
    utl::MsgDrivenSharedThread lThread(sizeof(WordMsg::mWord), 16, 3, "words", 0);
    Total lTotal;
    Journal lAll(&lThread, nullptr);
    Journal lUntilFox(&lThread, "fox");
    if (lThread.start(0, 0, nullptr, 1, 0, utl::ThreadPriority(utl::ThreadPriority::NORMAL), 0) != 0 ||
        !lThread.attachMsgListener(&lTotal) || !lThread.attachMsgListener(&lAll) ||
        !lThread.attachMsgListener(&lUntilFox))
    {
        return 1;
    }
    for (char const* lpWord : {"the", "quick", "brown", "fox", "jumps"})
    {
        lThread.postMsg(WordMsg(lpWord)); // for all
    }
    lThread.postMsg(&lTotal, WordMsg("secret")); // for one
    lThread.sendMsgSync(&lTotal, MSG_ID_REPORT); // for one; when this returns, all earlier messages have been handled
    lThread.detachMsgListener(&lAll);
    lThread.abortMsg(&lAll); // from here on nothing reaches it
    lThread.stop(1, 0);
    lThread.leaveManagement();

    std::printf("all: %s\nuntil fox: %s\nletters: %u\n", lAll.mText.c_str(), lUntilFox.mText.c_str(), lTotal.mReported);
    bool const lIsRight = lAll.mText == "the quick brown fox jumps " && lUntilFox.mText == "the quick brown fox " &&
                          lTotal.mReported == 27;
    return lIsRight ? 0 : 1;
}
