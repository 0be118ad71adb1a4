#pragma once

#include <QObject>

#include <functional>

namespace velmora {

// Qt loads its TLS backend (the plugin, libssl and libcrypto) at the first network request of
// a process, plain HTTP included: some 10 ms on the thread that asks, which would be the
// host's main thread in the turn of its first facade call. It is loaded on a worker instead,
// and the first update cycle waits for it.
class NetworkWarmUp {
public:
    // Starts loading it; once per process.
    static void start();
    static bool isReady();
    // Runs `work` on the main thread once it is loaded: at once when it is, else later,
    // unless `context` is gone by then.
    static void whenReady(QObject *context, std::function<void()> work);
};

} // namespace velmora
