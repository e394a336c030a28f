/* hello_host.c - a whole host in C11: it pushes a moving bar and prints what the module FrameMonitor saw.
 * Usage: hello_host FOLDER-OF-MODULES */
#define _POSIX_C_SOURCE 200809L /* chdir, nanosleep */
#include <LumetraCore/LumetraCore.h>
#include <stdio.h>
#include <time.h>
#include <unistd.h>

enum { WIDTH = 320, HEIGHT = 240, BAR_WIDTH = 40, FRAMES = 60, FRAME_NANOSECONDS = 16 * 1000 * 1000 };
enum { REPORT = LUMETRA_CMD_MODULE_FIRST }; /* FrameMonitor's own command: a line of JSON to its log */

/* Log functions run on whichever thread logs; what comes here is ASCII. */
static void print_line(FILE* file, const char16_t* text) {
    for (; *text != 0; ++text) fputc(*text < 128 ? (int)*text : '?', file);
    fputc('\n', file);
}

static void log_of_the_engine(int32_t level, const char16_t* text) {
    (void)level;
    print_line(stderr, text);
}

static void log_of_the_module(int32_t level, const char16_t* text) {
    (void)level;
    print_line(stdout, text);
}

/* Rows of R, G, B without padding, top row first. */
static void draw(unsigned char* pixels, int frame) {
    for (int y = 0; y < HEIGHT; ++y) {
        for (int x = 0; x < WIDTH; ++x) {
            const int in_bar = (x + WIDTH - 4 * frame % WIDTH) % WIDTH < BAR_WIDTH;
            *pixels++ = (unsigned char)(in_bar ? 255 : x * 255 / WIDTH);
            *pixels++ = (unsigned char)(in_bar ? 255 : y * 255 / HEIGHT);
            *pixels++ = 64;
        }
    }
}

/* As a camera would: a frame every 16 ms. The engine copies it, so one buffer does for all. */
static void push_frames(void) {
    static unsigned char pixels[WIDTH * HEIGHT * 3];
    const struct timespec pause = {0, FRAME_NANOSECONDS};
    for (int frame = 0; frame < FRAMES; ++frame) {
        draw(pixels, frame);
        if (LumetraCore_pushImageData(pixels, (int32_t)sizeof pixels, u"{}", frame) != 1)
            fprintf(stderr, "frame %d was refused\n", frame);
        nanosleep(&pause, NULL);
    }
}

static int run(void) {
    if (LumetraCore_command(ENGINE_MODULE_ID, LUMETRA_CMD_CONFIGURE,
                            u"{\"imageCfg\":{\"width\":320,\"height\":240},\"format\":1,"
                            u"\"conversionflags\":1}") != 1)
        return 1;
    const int32_t monitor = LumetraCore_registerDllByName(u"FrameMonitor");
    if (monitor < 1) {
        fprintf(stderr, "FrameMonitor cannot be loaded; lumetra-inspect says why\n");
        return 1;
    }
    LumetraCore_initializeDllByID(monitor, u"{\"histogram\":false}");
    LumetraCore_registerCallback(monitor, CB_LOG, (void*)log_of_the_module, NULL);
    push_frames();
    LumetraCore_command(monitor, REPORT, u"");
    return LumetraCore_unregisterDllByID(monitor) == 1 ? 0 : 1;
}

int main(int argc, char** argv) {
    /* On Linux modules are found from the working folder. */
    if (argc != 2 || chdir(argv[1]) != 0) {
        fprintf(stderr, "usage: hello_host FOLDER-OF-MODULES\n");
        return 2;
    }
    LumetraCore_initialize();
    LumetraCore_registerCallback(ENGINE_MODULE_ID, CB_LOG, (void*)log_of_the_engine, NULL);
    const int status = run();
    LumetraCore_destroy();
    return status;
}
