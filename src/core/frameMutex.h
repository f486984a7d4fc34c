#pragma once

#include "common/fairMutex.h"

/// The process-wide frame mutex: processing, colourising and publishing of every camera, and the getters that
/// copy published frames. Serves in order of arrival. Outer to a camera's colour and calibration mutexes.
extern FairMutex frameMutex;
