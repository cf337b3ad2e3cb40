// The public declarations and the export marker of the library's entry
// points (everything else has hidden visibility).
#pragma once

#include "kelvm.h"

#define KEL_API extern "C" __attribute__((visibility("default")))
