#include "TestEnvironment.h"

#include "content/AdsSelection.h"

#include <random>

using namespace velmora;

namespace {

QVariantMap ad(const QString &name, const QVariant &priority = QVariant())
{
    QVariantMap map { { QStringLiteral("name"), name } };
    if (priority.isValid())
        map.insert(QStringLiteral("priority"), priority);
    return map;
}

QVariantMap table(const QString &key, const QVariantList &ads)
{
    return { { key, ads } };
}

AdsSelection::RandomSource seeded(quint32 seed)
{
    auto engine = std::make_shared<std::mt19937>(seed);
    return [engine] { return quint32((*engine)()); };
}

QString drawName(const QVariantMap &ads, const QString &key, const QVariantMap &current,
                 const AdsSelection::RandomSource &random)
{
    const auto drawn = AdsSelection::getInfoObjectWithConsideringWeightForKey(ads, key, current, random);
    return drawn ? drawn->value(QStringLiteral("name")).toString() : QStringLiteral("<nothing>");
}

} // namespace

class SelectionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // Each ad's share of the draws follows its weight. 2.4 + 2.4 makes a total of 5 but two
    // intervals of 2: a draw of 4 matches nothing.
    void frequencies_data()
    {
        QTest::addColumn<QVariantList>("ads");
        QTest::addColumn<QVariantMap>("shares"); // name → expected share of the draws
        QTest::newRow("priorities 1:2:3") << QVariantList { ad("a", 1), ad("b", 2), ad("c", 3) }
                                          << QVariantMap { { "a", 1 / 6.0 }, { "b", 2 / 6.0 }, { "c", 3 / 6.0 } };
        QTest::newRow("fractional weights can miss every interval")
            << QVariantList { ad("a", 2.4), ad("b", 2.4) }
            << QVariantMap { { "a", 0.4 }, { "b", 0.4 }, { "<nothing>", 0.2 } };
    }

    void frequencies()
    {
        QFETCH(QVariantList, ads);
        QFETCH(QVariantMap, shares);
        const QVariantMap banners = table(QStringLiteral("standard"), ads);
        const auto random = seeded(42);
        QHash<QString, int> counts;
        const int draws = 60000;
        for (int i = 0; i < draws; ++i)
            ++counts[drawName(banners, QStringLiteral("standard"), {}, random)];
        QCOMPARE(counts.size(), shares.size());
        // A band of 1 % of the draws is about five standard deviations wide for every share here.
        for (auto share = shares.cbegin(); share != shares.cend(); ++share) {
            const int count = counts.value(share.key());
            QVERIFY2(std::abs(count - share.value().toDouble() * draws) < draws * 0.01,
                     qPrintable(QStringLiteral("%1: %2").arg(share.key()).arg(count)));
        }
    }

    void draws_data()
    {
        QTest::addColumn<QVariantMap>("ads");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QVariantMap>("current");
        QTest::addColumn<QString>("expected");
        const QString banners = QStringLiteral("standard");
        const QString videos = QStringLiteral("video");
        const QVariantMap a = ad("a", 1);
        const QVariantMap b = ad("b", 1);
        QTest::newRow("banner on screen is left out") << table(banners, { a, b }) << banners << a << "b";
        QTest::newRow("a single banner is shown again") << table(banners, { a }) << banners << a << "a";
        QTest::newRow("videos are never filtered") << table(videos, { a }) << videos << a << "a";
        QTest::newRow("weights pair by position: the unweighted ad takes the next weight")
            << table(banners, { ad("a"), ad("b", 5) }) << banners << QVariantMap() << "a";
        QTest::newRow("numeric string priority counts")
            << table(banners, { ad("a", 0), ad("b", QStringLiteral("4")) }) << banners << QVariantMap() << "b";
        QTest::newRow("all weights zero")
            << table(banners, { ad("a", 0), ad("b", 0) }) << banners << QVariantMap() << "<nothing>";
        QTest::newRow("negative total") << table(banners, { ad("a", -3) }) << banners << QVariantMap() << "<nothing>";
        QTest::newRow("no weights at all") << table(banners, { ad("a") }) << banners << QVariantMap() << "<nothing>";
        QTest::newRow("empty placement") << table(banners, {}) << banners << QVariantMap() << "<nothing>";
        QTest::newRow("missing placement") << table(videos, { a }) << banners << QVariantMap() << "<nothing>";
        QTest::newRow("priority of the wrong shape weighs nothing")
            << table(banners, { ad("a", QVariantMap { { QStringLiteral("x"), 1 } }), ad("b", 2) }) << banners
            << QVariantMap() << "b";
    }

    void draws()
    {
        QFETCH(QVariantMap, ads);
        QFETCH(QString, key);
        QFETCH(QVariantMap, current);
        QFETCH(QString, expected);
        const auto random = seeded(7);
        for (int i = 0; i < 50; ++i)
            QCOMPARE(drawName(ads, key, current, random), expected);
        // Without any table there is nothing to draw.
        QVERIFY(!AdsSelection::getInfoObjectWithConsideringWeightForKey(std::nullopt, key, current, random));
    }
};

VELMORA_TEST_MAIN(SelectionTest)
#include "tst_selection.moc"
