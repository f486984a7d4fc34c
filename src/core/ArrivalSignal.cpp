#include "core/ArrivalSignal.h"

ArrivalSignal frameArrivals;
