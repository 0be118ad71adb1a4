#pragma once

#include <QtGlobal>

#include <memory>

class QProcess;

namespace velmora::media {

// The shared memory the helper's frames travel through (see MediaProtocol.h). On Linux it
// is a memfd that only the helper inherits, as fd kFrameFd; a portable build uses a named
// QSharedMemory segment whose key the helper finds in its environment.
class FrameRing {
public:
    // The host's ring, made for one helper; null when the system gives no shared memory.
    static std::shared_ptr<FrameRing> create();
    // In the helper: the ring its host made; null when there is none.
    static std::unique_ptr<FrameRing> attach();
    ~FrameRing();
    FrameRing(const FrameRing &) = delete;
    FrameRing &operator=(const FrameRing &) = delete;

    uchar *data() const { return m_data; }
    // Hands the ring to `process` before it starts (after its environment is set). On Linux
    // the helper also dies with the host, even when the host is killed; elsewhere it ends
    // when its stdin closes.
    void shareWith(QProcess *process) const;

private:
    FrameRing() = default;
    struct Native;
    std::unique_ptr<Native> m_native;
    uchar *m_data = nullptr;
};

} // namespace velmora::media
