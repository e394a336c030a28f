// Compiled as C++17, the standard that hosts and modules may still be on.
#include <LumetraCore/FrameMailbox.h>
#include <LumetraCore/LumetraCore.h>
#include <LumetraCore/LumetraModule.h>
#include <LumetraCore/LumetraTap.h>
#include <LumetraCore/ModuleStamp.h>
#include <LumetraCore/PGM_FUNCTIONS.h>
#include <LumetraCore/PackPixels.h>
#include <LumetraCore/TextResults.h>
#include <LumetraCore/utf_conversion.h>

static_assert(sizeof(LUMETRA_CMDTYPE) == 4 && sizeof(LUMETRA_CBTYPE) == 4, "enumerations cross as 32 bits");
static_assert(sizeof(LUMETRA_IMGFORMATTYPE) == 4 && sizeof(LUMETRA_CONVERSIONMODIFIER) == 4, "likewise");
