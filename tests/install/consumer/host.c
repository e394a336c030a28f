/* A C host that shows the module template a frame of even grey; 0 if the module has seen just that. */
#include <LumetraCore/LumetraCore.h>
#include <string.h>
#include <threads.h>
#include <time.h>

enum { MODULE = 42, BRIGHTNESS = LUMETRA_CMD_MODULE_FIRST, WIDTH = 64, HEIGHT = 48, GREY = 100 };

int main(void) {
    unsigned char pixels[WIDTH * HEIGHT * 3];
    const struct timespec pause = {0, 10 * 1000 * 1000};
    int brightness = -1;
    int i;

    LumetraCore_initialize();
    if (LumetraCore_command(ENGINE_MODULE_ID, LUMETRA_CMD_CONFIGURE,
                            u"{\"imageCfg\":{\"width\":64,\"height\":48},\"format\":1,"
                            u"\"conversionflags\":1}") != 1)
        return 2;
    if (LumetraCore_registerDllByName(u"MyModule") != MODULE) return 3;
    LumetraCore_initializeDllByID(MODULE, u"40");
    if (LumetraCore_getStatus(MODULE) != STATUS_READY) return 4;

    /* Again and again, for a frame that a busy machine delays is dropped. */
    memset(pixels, GREY, sizeof pixels);
    for (i = 0; i < 500 && brightness == -1; ++i) {
        if (LumetraCore_pushImageData(pixels, (int32_t)sizeof pixels, u"{}", i) != 1) return 5;
        thrd_sleep(&pause, NULL);
        brightness = LumetraCore_command(MODULE, BRIGHTNESS, u"");
    }
    if (brightness != GREY) return 6;

    if (LumetraCore_unregisterDllByID(MODULE) != 1) return 7;
    LumetraCore_destroy();
    return 0;
}
