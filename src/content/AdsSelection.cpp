#include "content/AdsSelection.h"

#include "content/AdsKeys.h"

#include <QRandomGenerator>
#include <QVariantList>

#include <cmath>

namespace velmora {

namespace {

// Rounded half away from zero, then truncated to 64 bits; NaN and out-of-range values
// become 0 rather than undefined behaviour.
qint64 roundedWeight(double value)
{
    const double rounded = std::round(value);
    if (!std::isfinite(rounded) || std::fabs(rounded) > 9.0e18)
        return 0;
    return qint64(rounded);
}

qint64 truncated(double value)
{
    if (!std::isfinite(value) || std::fabs(value) > 9.0e18)
        return 0;
    return qint64(value);
}

QVariantList candidatesFor(const QVariantMap &table, const QString &key, const QVariantMap &current)
{
    QVariantList candidates = table.value(key).toList();
    if (key == kMainBannerKey && candidates.size() > 1 && candidates.contains(QVariant(current)))
        candidates.removeAll(QVariant(current));
    return candidates;
}

QList<double> weightsOf(const QVariantList &candidates, const QString &key)
{
    const QString weightKey = key == kMainVideoKey ? kVideoPriority : kBannerPriority;
    QList<double> weights;
    for (const QVariant &candidate : candidates) {
        const QVariantMap ad = candidate.toMap();
        const auto found = ad.constFind(weightKey);
        if (found == ad.constEnd())
            continue;
        bool ok = false;
        const double value = found->toDouble(&ok);
        weights.append(ok ? value : 0.0);
    }
    return weights;
}

} // namespace

AdsSelection::RandomSource AdsSelection::systemRandom()
{
    return [] { return QRandomGenerator::system()->generate(); };
}

std::optional<QVariantMap>
AdsSelection::getInfoObjectWithConsideringWeightForKey(const std::optional<QVariantMap> &table, const QString &key,
                                                       const QVariantMap &current, const RandomSource &random)
{
    if (!table)
        return std::nullopt;
    const QVariantList candidates = candidatesFor(*table, key, current);
    if (candidates.isEmpty())
        return std::nullopt;
    const QList<double> weights = weightsOf(candidates, key);
    if (weights.isEmpty())
        return std::nullopt;

    double sum = 0;
    for (double weight : weights)
        sum += weight;
    const qint64 total = roundedWeight(sum);
    // A total of zero or less has no valid draw.
    if (total <= 0)
        return std::nullopt;

    const qint64 draw = qint64(random()) % total;
    double lower = 0;
    for (qsizetype i = 0; i < weights.size(); ++i) {
        const qint64 weight = roundedWeight(weights.at(i));
        const qint64 upper = truncated(lower + double(weight));
        if (truncated(lower) <= draw && draw < upper) {
            // Pairing by position: weight i belongs to candidate i, whoever carried it.
            return i < candidates.size() ? std::optional(candidates.at(i).toMap()) : std::nullopt;
        }
        lower += double(weight);
    }
    return std::nullopt;
}

} // namespace velmora
