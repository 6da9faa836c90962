/// Every public header of the library. Layer: above everything.
#ifndef UTL_H
#define UTL_H

#include "UtlApplog.h"
#include "UtlArray.h"
#include "UtlBasicString.h"
#include "UtlMacros.h"
#include "UtlMap.h"
#include "UtlPair.h"
#include "UtlQueue.h"
#include "UtlRawMemory.h"
#include "UtlStatementInfo.h"
#include "UtlStaticBuffer.h"
#include "UtlString.h"
#include "UtlSyncObject.h"

#endif
