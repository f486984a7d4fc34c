#include "core/frameMutex.h"

FairMutex frameMutex(LockRank::frame);
