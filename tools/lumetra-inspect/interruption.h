// interruption.h - Ctrl-C and its like as an exception, so that what was made for a while is removed on the
// way out. One thread.
#ifndef LUMETRA_INSPECT_INTERRUPTION_H
#define LUMETRA_INSPECT_INTERRUPTION_H

struct Interrupted {
    int signal;
};

/// From now on SIGINT, SIGTERM, SIGHUP and SIGPIPE, which comes from a reader such as head, are noted; those
/// that were ignored stay so.
void noteInterruptions();
/// In a child: they act as in any process, which is what modules are to find.
void actOnInterruptions();
/// @throws Interrupted if one of them was noted
void throwIfInterrupted();

#endif
