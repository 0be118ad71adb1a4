#pragma once

#include <velmora/velmora_export.h>

#include <QVariantMap>

#include <functional>
#include <optional>

namespace velmora {

// The weighted draw of one ad from a placement of the ad table.
class VELMORA_EXPORT AdsSelection {
public:
    // A uniformly distributed 32-bit number; the system's cryptographic source by default.
    using RandomSource = std::function<quint32()>;

    static RandomSource systemRandom();

    // Draws from `table[key]` by "priority". For banners the ad equal to `current` is left
    // out while another exists. Weights pair with candidates by position among the ads that
    // have one, so an ad without a priority shifts the later weights onto earlier ads.
    static std::optional<QVariantMap> getInfoObjectWithConsideringWeightForKey(const std::optional<QVariantMap> &table,
                                                                               const QString &key,
                                                                               const QVariantMap &current,
                                                                               const RandomSource &random);
};

} // namespace velmora
