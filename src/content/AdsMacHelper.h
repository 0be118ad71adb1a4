#pragma once

#include <velmora/velmora_export.h>

#include <QString>

#include <functional>

namespace velmora {

// Machine-level questions: is the internet reachable right now, and who is this machine.
class VELMORA_EXPORT AdsMacHelper {
public:
    static bool isInternetConnection();
    // The machine's identity (/sys/class/dmi/id/product_uuid, else /etc/machine-id; with
    // VELMORA_PORTABLE, QSysInfo::machineUniqueId()), or an empty string; read once.
    static QString getSystemUUID();

    // Replaces the reachability probe (nullptr restores the route lookup); for tests of
    // offline behaviour.
    static void setInternetProbe(std::function<bool()> probe);
};

} // namespace velmora
