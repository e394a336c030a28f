/* Compiled as C11: every declaration that a C host needs is usable as C. */
#include <LumetraCore/LumetraCore.h>
#include <LumetraCore/LumetraTap.h>
#include <LumetraCore/PGM_FUNCTIONS.h>
#if __STDC_HOSTED__ /* it copies with the C library */
#include <LumetraCore/PackPixels.h>
#endif

_Static_assert(sizeof(LUMETRA_CMDTYPE) == 4 && sizeof(LUMETRA_CBTYPE) == 4, "enumerations cross as 32 bits");
_Static_assert(sizeof(LUMETRA_IMGFORMATTYPE) == 4 && sizeof(LUMETRA_CONVERSIONMODIFIER) == 4, "likewise");

static void logSink(int32_t level, const char16_t* text) {
    (void)level;
    (void)text;
}

int useFromC(LUMETRA_LOGFN* sink, LUMETRA_CBTYPE kinds[4]);
int useFromC(LUMETRA_LOGFN* sink, LUMETRA_CBTYPE kinds[4]) {
    unsigned char pixel[1] = {0};
#if __STDC_HOSTED__
    lumetra_pack_pixels(pixel, 1, pixel, 1, 1, 1, 1);
#endif
    *sink = logSink;
    LumetraCore_initialize();
    LumetraCore_command(ENGINE_MODULE_ID, LUMETRA_CMD_CONFIGURE, u"{}");
    return LumetraCore_getSupportedCallbacks(ENGINE_MODULE_ID, kinds) +
           LumetraCore_pushImageData(pixel, 1, u"", CB_LOG);
}
