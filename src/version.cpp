// The version record of this build.
#include "api.h"
#include "x87.h"

namespace {

const KelLibraryVersion s_LibVer = {
    5, 2, 108, 348, {'p', 'x', 0, 0}, "libkelvmpx.so.5.2", "5.2", "Jul 11 2007",
};

}  // namespace

KEL_API const KelLibraryVersion* kelvmGetLibVersion(void) { return &s_LibVer; }
