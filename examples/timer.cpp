// One thread, two timers: a heartbeat with a steady beat, and an alarm that fires once and stops the heartbeat.
#include "UtlTimer.h"

#include <atomic>
#include <cstdio>

namespace
{

/// Called on the timer thread, one call at a time.
class Heartbeat : public utl::TimerListener
{
public:
    void onTime(int) override { std::printf("beat %u\n", ++mBeats); }

    std::atomic<unsigned int> mBeats{0};
};

class Alarm : public utl::TimerListener
{
public:
    Alarm(utl::SharedTimer& nTimers, int nHeartbeatId)
        : mTimers(nTimers),
          mHeartbeatId(nHeartbeatId)
    {
    }

    void onTime(int) override
    {
        std::printf("alarm\n");
        mTimers.stop(mHeartbeatId, 1); // a listener does not wait for its own thread
    }

private:
    utl::SharedTimer& mTimers;
    int const mHeartbeatId;
};

} // namespace

int main()
{
    Heartbeat lHeartbeat;
    utl::SharedTimer lTimers(0, 0, nullptr, 2, "example");
    int const lHeartbeatId = lTimers.addTimer(&lHeartbeat, 20, 0, 1);
    Alarm lAlarm(lTimers, lHeartbeatId);
    int const lAlarmId = lTimers.addTimer(&lAlarm, 110, 1, 0);
    lTimers.startAll(0);

    lTimers.waitToStop(lHeartbeatId);
    unsigned int const lBeats = lHeartbeat.mBeats;
    lTimers.waitToStop(lAlarmId);
    lTimers.destroy();                                               // before the listeners are destroyed
    bool const lIsRight = lBeats > 0 && lBeats == lHeartbeat.mBeats; // no beat follows the stop
    std::printf("%u beats before the alarm: %s\n", lBeats, lIsRight ? "as expected" : "WRONG");
    return lIsRight ? 0 : 1;
}
