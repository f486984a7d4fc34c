#include "core/frameMutex.h"

FairMutex frameMutex;
