#pragma once

#include <QIcon>
#include <QString>

namespace velmora {

// The framework's own button pictures ("ads_close_button", "ads_sound_on", …) with their @2x
// variants, decoded once per process, without loading Qt's image plugins on the host's main
// thread, and not in the host's call that made the button: in a later idle turn, or when the
// picture is first drawn, whichever comes first. Main thread only.
class ResourceIcon {
public:
    static QIcon load(const QString &name);
};

} // namespace velmora
