// Tells the watchdog's findings to somebody who can reset: systemd by NOTIFY_SOCKET, or the hardware by /dev/watchdog.
// Both are petted after each beat that has checked all threads, until one of these hangs. This program tries
// both on itself, with a socket and a file of its own.
#include <UtlMsgDrivenThread.h>
#include <UtlThreadManager.h>
#include <UtlWatchdogVerdict.h>

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace
{

/// Something that resets unless it is petted in time. The watchdog's thread calls all functions but the destructor.
class Resetter
{
public:
    virtual ~Resetter() = default;

    virtual void pet() = 0;

    /// A thread hangs: asks for a reset at once, if possible. From now on pet() is not called.
    virtual void trigger() {}
};

/// The service manager that started us, reached by datagrams.
class ServiceManager : public Resetter
{
public:
    /// Result: there is one, it wants to be petted, by this process, and it can be reached. Anything else in the
    /// environment is refused: a path that is neither absolute nor abstract, one that is too long, and numbers that are
    /// none.
    bool open()
    {
        char const* const lpPath = std::getenv("NOTIFY_SOCKET");
        if (lpPath == nullptr || !isNumber(std::getenv("WATCHDOG_USEC"), &mPeriodUs) || mPeriodUs == 0 || !isForUs() ||
            (*lpPath != '/' && *lpPath != '@') || lpPath[1] == '\0' || std::strlen(lpPath) >= sizeof(mAddress.sun_path))
        {
            return false;
        }
        mAddress.sun_family = AF_UNIX;
        std::memcpy(mAddress.sun_path, lpPath, std::strlen(lpPath));
        // An abstract name begins with a NUL and has no end but the size of the address.
        mAddressSize = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + std::strlen(lpPath));
        mAddress.sun_path[0] = *lpPath == '@' ? '\0' : *lpPath;
        mFd = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        return mFd != -1;
    }
    ~ServiceManager() override { ::close(mFd); }

    /// The longest time between two pets; the manager advises to pet twice as often.
    unsigned long long periodUs() const { return mPeriodUs; }

    void pet() override { send("WATCHDOG=1"); }
    void trigger() override { send("WATCHDOG=trigger"); }

private:
    static bool isNumber(char const* npText, unsigned long long* npNumber)
    {
        char* lpEnd = nullptr;
        *npNumber = npText != nullptr ? std::strtoull(npText, &lpEnd, 10) : 0;
        return npText != nullptr && *npText >= '0' && *npText <= '9' && *lpEnd == '\0';
    }

    /// Another process of the service may have to pet, and we have its environment.
    static bool isForUs()
    {
        char const* const lpPid = std::getenv("WATCHDOG_PID");
        unsigned long long lPid = 0;
        return lpPid == nullptr || (isNumber(lpPid, &lPid) && lPid == static_cast<unsigned long long>(::getpid()));
    }

    /// Never waits: a manager that does not read must not hold up the watchdog.
    void send(char const* npText)
    {
        ::sendto(mFd, npText, std::strlen(npText), MSG_DONTWAIT | MSG_NOSIGNAL, reinterpret_cast<sockaddr*>(&mAddress),
                 mAddressSize);
    }

    sockaddr_un mAddress{};
    socklen_t mAddressSize = 0;
    int mFd = -1;
    unsigned long long mPeriodUs = 0;
};

/// A hardware watchdog. Any byte pets it; a 'V' just before the end tells it that the end is intended, so that is
/// written at an orderly end and nowhere else.
class Device : public Resetter
{
public:
    bool open(char const* npPath)
    {
        mFd = ::open(npPath, O_WRONLY | O_CLOEXEC);
        return mFd != -1;
    }
    ~Device() override { ::close(mFd); } // after a crash endOrderly() was not called, and the machine is reset

    void pet() override { write('\0'); }
    void endOrderly() { write('V'); }

private:
    void write(char nByte) { mHasFailed |= ::write(mFd, &nByte, 1) != 1; }

    int mFd = -1;
    bool mHasFailed = false;
};

/// Pets at each beat, until a thread hangs, or gets no processor for longer than the product tolerates.
class Keeper : public utl::WatchdogVerdictListener
{
public:
    explicit Keeper(Resetter& nResetter)
        : mResetter(nResetter)
    {
        utl::ThreadManager::get()->setWatchdogVerdictListener(this);
    }
    ~Keeper() override
    {
        // The watchdog's thread may be about to call us; a change of its interval waits for it.
        utl::ThreadManager::get()->setWatchdogVerdictListener(nullptr);
        utl::ThreadManager::get()->setWatchdogWatchInterval(BEAT_MS);
    }

    void onVerdict(utl::WatchdogVerdict const& nVerdict) override
    {
        bool const lIsHung = nVerdict.mVerdict == utl::Verdict::RUNNING || nVerdict.mVerdict == utl::Verdict::BLOCKED;
        if (!mIsHung && (lIsHung || nVerdict.mStarvedMs > MAX_STARVED_MS))
        {
            std::printf("thread \"%s\": %s\n", nVerdict.mName, text(nVerdict.mVerdict));
            mIsHung = true;
            mResetter.trigger();
        }
    }

    void onBeat() override
    {
        if (!mIsHung)
        {
            mResetter.pet();
        }
    }

    static constexpr unsigned int BEAT_MS = 20; // a product takes half of what it is given, or a second
    static constexpr unsigned int MAX_STARVED_MS = 60000;

private:
    Resetter& mResetter;
    bool mIsHung = false; // for the watchdog thread
};

// ---------------------------------------------------------------------------------------------- trying it

/// Hangs until it is released.
struct Sleeper : utl::ThreadMsgListener
{
    void receiveMsg(int, utl::ThreadRawMsg&) override { mEnd.waitToOn(0); }

    utl::Event mEnd{0, 0};
};

/// A watched thread that hangs until the end of the scope.
class Hanging
{
public:
    Hanging()
    {
        mThread.start(&mSleeper, 1, 5 * Keeper::BEAT_MS, nullptr, 1, 0,
                      utl::ThreadPriority(utl::ThreadPriority::NORMAL), 0);
        mThread.postMsg(1);
    }
    ~Hanging()
    {
        mSleeper.mEnd.setOn();
        mThread.stop(1, 0);
        mThread.leaveManagement();
    }

private:
    Sleeper mSleeper;
    utl::MsgDrivenThread mThread{0, 4, "sleeper", 1};
};

/// The manager's end: a socket with an abstract name.
class Socket
{
public:
    explicit Socket(std::string const& nName)
    {
        sockaddr_un lAddress{};
        lAddress.sun_family = AF_UNIX;
        std::memcpy(lAddress.sun_path + 1, nName.c_str(), nName.size());
        ::bind(mFd, reinterpret_cast<sockaddr*>(&lAddress),
               static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + nName.size()));
    }
    ~Socket() { ::close(mFd); }

    /// The next datagram within ten seconds.
    std::string read() const
    {
        pollfd lFd{mFd, POLLIN, 0};
        char lText[64];
        ssize_t const lSize = ::poll(&lFd, 1, 10000) == 1 ? ::recv(mFd, lText, sizeof(lText), 0) : 0;
        return std::string(lText, lSize > 0 ? static_cast<std::size_t>(lSize) : 0);
    }
    bool hasMore() const
    {
        pollfd lFd{mFd, POLLIN, 0};
        return ::poll(&lFd, 1, 0) == 1;
    }

private:
    int const mFd = ::socket(AF_UNIX, SOCK_DGRAM, 0);
};

bool check(bool nIsTrue, char const* npWhat)
{
    nIsTrue ? 0 : std::fprintf(stderr, "not so: %s\n", npWhat);
    return nIsTrue;
}

bool refuses(char const* npName, char const* npValue)
{
    std::string const lGood = std::getenv(npName);
    ::setenv(npName, npValue, 1);
    bool const lIsRefused = !ServiceManager().open();
    ::setenv(npName, lGood.c_str(), 1);
    return check(lIsRefused, npValue);
}

bool tryServiceManager()
{
    std::string const lName = "utl-reset-" + std::to_string(::getpid());
    Socket const lSocket(lName);
    ::setenv("NOTIFY_SOCKET", ("@" + lName).c_str(), 1);
    ::setenv("WATCHDOG_USEC", "40000", 1);
    ::setenv("WATCHDOG_PID", std::to_string(::getpid()).c_str(), 1);
    bool lIsGood = refuses("NOTIFY_SOCKET", "run/notify") && refuses("NOTIFY_SOCKET", "@") &&
                   refuses("NOTIFY_SOCKET", ("/" + std::string(108, 'x')).c_str()) && refuses("WATCHDOG_USEC", "0") &&
                   refuses("WATCHDOG_USEC", "1s") && refuses("WATCHDOG_PID", "1");
    ServiceManager lManager;
    lIsGood = check(lManager.open(), "the manager is found") && lIsGood;
    Keeper const lKeeper(lManager);
    lIsGood = check(lSocket.read() == "WATCHDOG=1", "it is petted") && lIsGood;
    Hanging const lHanging;
    std::string lText = lSocket.read();
    while (lText == "WATCHDOG=1")
    {
        lText = lSocket.read();
    }
    lIsGood = check(lText == "WATCHDOG=trigger", "it is told at once") && lIsGood;
    utl::Thread::sleep(5 * Keeper::BEAT_MS); // time for datagrams that must not come
    return check(!lSocket.hasMore(), "and not petted any more") && lIsGood;
}

/// What has been written to a device, which is a file here.
std::string written(char const* npPath)
{
    std::string lText(4096, '\0');
    int const lFd = ::open(npPath, O_RDONLY);
    ssize_t const lSize = ::read(lFd, lText.data(), lText.size());
    ::close(lFd);
    lText.resize(lSize > 0 ? static_cast<std::size_t>(lSize) : 0);
    return lText;
}

bool tryDevice()
{
    char lPath[] = "/tmp/utl-watchdog-XXXXXX";
    ::close(::mkstemp(lPath));
    Device lDevice;
    bool lIsGood = check(lDevice.open(lPath), "the device is opened");
    {
        Keeper const lKeeper(lDevice);
        for (int lTry = 0; lTry < 500 && written(lPath).size() < 3; ++lTry)
        {
            utl::Thread::sleep(Keeper::BEAT_MS);
        }
    }
    std::string const lPets = written(lPath);
    lIsGood = check(lPets.size() >= 3, "it is petted") && lIsGood;
    lIsGood = check(lPets == std::string(lPets.size(), '\0'), "never with a V") && lIsGood;
    lDevice.endOrderly();
    lIsGood = check(written(lPath).back() == 'V', "but at the end") && lIsGood;
    ::unlink(lPath);
    return lIsGood;
}

} // namespace

int main()
{
    utl::ThreadManager::get()->setWatchdogWatchInterval(Keeper::BEAT_MS);
    bool const lIsGood = tryServiceManager() && tryDevice();
    utl::ThreadManager::destroy();
    std::puts(lIsGood ? "petted while all is well, and not otherwise" : "something is wrong");
    return lIsGood ? 0 : 1;
}
