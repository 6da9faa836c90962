/// Every public header of the library but UtlWorker.h, which the application compiles. Layer: above everything.
#ifndef UTL_H
#define UTL_H

#include "UtlApplog.h"
#include "UtlArray.h"
#include "UtlBasicString.h"
#include "UtlBitStream.h"
#include "UtlCharAttrib.h"
#include "UtlCharSet.h"
#include "UtlCheckedText.h"
#include "UtlConvertAttrib.h"
#include "UtlEvent.h"
#include "UtlFile.h"
#include "UtlFileReplacement.h"
#include "UtlInsideView.h"
#include "UtlLedger.h"
#include "UtlLines.h"
#include "UtlMacros.h"
#include "UtlMap.h"
#include "UtlMemory.h"
#include "UtlMemoryPool.h"
#include "UtlMsg.h"
#include "UtlMsgDrivenSharedThread.h"
#include "UtlMsgDrivenThread.h"
#include "UtlOutcome.h"
#include "UtlPair.h"
#include "UtlQueue.h"
#include "UtlRawMemory.h"
#include "UtlRotatingLog.h"
#include "UtlSharedTimer.h"
#include "UtlSmartPointer.h"
#include "UtlStatementInfo.h"
#include "UtlStaticBuffer.h"
#include "UtlStopAll.h"
#include "UtlString.h"
#include "UtlSyncObject.h"
#include "UtlThread.h"
#include "UtlThreadManager.h"
#include "UtlThreadMsgListener.h"
#include "UtlThreadOptions.h"
#include "UtlThreadPriority.h"
#include "UtlThreadRawMsg.h"
#include "UtlThreadWatchdog.h"
#include "UtlTimeCounter.h"
#include "UtlTimepiece.h"
#include "UtlTimer.h"
#include "UtlTimerInfo.h"
#include "UtlVersion.h"
#include "UtlWatchdogVerdict.h"

/// The library. Only the log functions, jk_mbtowc() and jk_wctomb() are outside this namespace.
namespace utl
{
}

#endif
