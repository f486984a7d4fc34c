#include "core/ArrivalSignal.h"

ArrivalSignal& frameArrivals = *new ArrivalSignal;
