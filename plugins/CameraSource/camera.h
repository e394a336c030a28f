// camera.h - the module's one object: its settings, its thread and what it has pushed.
// Operations: one host thread at a time, but for status() and report(), which any thread may call. Frames are
// pushed on the camera's own thread, which stop() joins.
#ifndef LUMETRA_CAMERASOURCE_CAMERA_H
#define LUMETRA_CAMERASOURCE_CAMERA_H

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include <LumetraCore/LumetraTypes.h>

#include "frame_producer.h"
#include "support/host_log.h"

class Camera {
public:
    Camera();
    ~Camera() { stop(); }

    void configure(const char* json);
    HostLog& log() { return m_log; }
    void setPush(LUMETRA_PUSHFN push, void* context);  ///< stops; null takes the function back

    bool start();
    void stop();
    void report();
    std::int32_t status() const { return m_status; }

private:
    std::string startThread();
    void stopThread();
    void run();
    void playFrames(FrameProducer& producer);
    void pushFrame(const Bytes& frame, std::int32_t number);

    HostLog m_log;

    std::mutex m_controlMutex;  // one operation at a time; guards what follows up to m_thread
    CameraSettings m_settings;
    LUMETRA_PUSHFN m_push = nullptr;  // these three change only while no thread runs
    void* m_context = nullptr;
    std::thread m_thread;

    StopSignal m_stop;
    std::atomic<std::int32_t> m_status;
    std::atomic<std::int64_t> m_pushed = 0, m_refused = 0;
};

#endif
