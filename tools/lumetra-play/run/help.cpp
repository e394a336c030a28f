// help.cpp - the text of --help, in the form that help2man makes a manual page of. Lines stay within 80
// columns.
#include "tools/lumetra-play/run/options.h"

const char* helpText() {
    return R"(Usage: lumetra-play [OPTION]... [SOURCE]...
Play video through LumetraCore as a host does, and show what becomes of it.

A SOURCE is a file, a URL, a device, a numbered series such as 'shots/%04d.png'
or - for standard input; several are played one after the other. Without one the
built-in scene plays. Frames are pushed at the clip's own pace.

Source:
      --start S          begin S seconds into the clip
      --seconds S        end after S seconds
      --frames N         end after N frames, 0 = no limit (the scene: 300)
      --loop             begin again at the end
      --fps N            N frames a second instead of the clip's own times
      --fast             as fast as frames can be delivered
      --raw PIXELS       raw video of this pixel format, such as nv12, and of
                         the size that --size says
      --size WxH         of raw video, of the scene, asked of a device; other
                         sources are scaled to it
  -f, --input-format F   read the source by FFmpeg's reader F, such as lavfi

Frames pushed:
      --format F         auto, rgb, bgr, bgra, yuyv or gray8 (auto: what costs
                         least for the source; gray8 takes the Y plane as it is)
      --flags FLAGS      what the library does: a number, or names out of gray,
                         pyramid, flip and dump (gray,pyramid; for yuyv gray)
      --pyramid, --no-pyramid
                         push every frame with its seven smaller levels or
                         without (as the flags say)
      --writable DIR     folder for --flags dump (the working folder)

Modules:
  -m, --module NAME[=CONFIGURATION]
                         load this module too; may be repeated
      --module-path DIR  folder with the NAME.framework folders
  -c, --command NAME:NUMBER[=TEXT]
                         send a command before the first frame, or - to read
                         commands from standard input; may be repeated. On a
                         terminal they can be typed while it plays, q ends
      --watch NAME       load the module anew whenever its library changes
      --camera SOURCE    let the module CameraSource push: scene, a device, a
                         file or a named pipe of raw video
      --save-jpeg DIR    with --camera: keep the JPEG of every frame
      --descriptors      with --camera: print every frame's descriptor

Results:
      --view[=[ADDRESS:]PORT]
                         show frames, levels and figures as a live web page
      --sheet FILE.png   picture of the last frame and of its levels
      --check            compare every pixel in the modules with the rule
      --strict           exit status 3 if a frame is dropped
      --json             one JSON document on standard output, nothing else
      --quiet            say nothing but what goes wrong
      --log              show the library's and the modules' log

Other:
      --devices          list the capture devices as JSON
      --info             describe this machine as JSON
      --library PATH     play through this build of the library
  -h, --help             display this help and exit
      --version          output version information and exit

Exit status:
  0 as asked, 1 usage or input, 2 the check failed, 3 nothing was delivered (or
  with --strict: a frame was dropped), 130 interrupted.

Examples:
  lumetra-play                           the built-in scene, 10 seconds
  lumetra-play --check clip.mp4          a clip, every delivered pixel checked
  lumetra-play --view --loop clip.mp4    a clip over and over, in the browser
  lumetra-play /dev/video0               a camera
  lumetra-play -f lavfi testsrc2         a test picture of FFmpeg's
  lumetra-play --json --fast clip.mp4    figures for a script
)";
}
