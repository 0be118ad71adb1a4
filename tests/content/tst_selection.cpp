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
    void frequenciesFollowPriorities()
    {
        const QVariantMap ads
            = table(QStringLiteral("standard"),
                    { ad(QStringLiteral("a"), 1), ad(QStringLiteral("b"), 2), ad(QStringLiteral("c"), 3) });
        const auto random = seeded(42);
        QHash<QString, int> counts;
        const int draws = 60000;
        for (int i = 0; i < draws; ++i)
            ++counts[drawName(ads, QStringLiteral("standard"), {}, random)];
        QCOMPARE(counts.size(), 3);
        // Expected 10000 / 20000 / 30000; a 2 % band is over 8 standard deviations wide.
        for (const auto &[name, share] : { std::pair { "a", 1 }, std::pair { "b", 2 }, std::pair { "c", 3 } }) {
            const double expected = draws * share / 6.0;
            QVERIFY2(std::abs(counts.value(QString::fromLatin1(name)) - expected) < expected * 0.02,
                     qPrintable(QStringLiteral("%1: %2")
                                    .arg(QString::fromLatin1(name))
                                    .arg(counts.value(QString::fromLatin1(name)))));
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
        const QVariantMap a = ad(QStringLiteral("a"), 1);
        const QVariantMap b = ad(QStringLiteral("b"), 1);
        QTest::newRow("banner on screen is left out") << table(banners, { a, b }) << banners << a << "b";
        QTest::newRow("a single banner is shown again") << table(banners, { a }) << banners << a << "a";
        QTest::newRow("videos are never filtered") << table(videos, { a }) << videos << a << "a";
        QTest::newRow("weights pair by position: the unweighted ad takes the next weight")
            << table(banners, { ad(QStringLiteral("a")), ad(QStringLiteral("b"), 5) }) << banners << QVariantMap()
            << "a";
        QTest::newRow("numeric string priority counts")
            << table(banners, { ad(QStringLiteral("a"), 0), ad(QStringLiteral("b"), QStringLiteral("4")) }) << banners
            << QVariantMap() << "b";
        QTest::newRow("all weights zero") << table(banners, { ad(QStringLiteral("a"), 0), ad(QStringLiteral("b"), 0) })
                                          << banners << QVariantMap() << "<nothing>";
        QTest::newRow("negative total") << table(banners, { ad(QStringLiteral("a"), -3) }) << banners << QVariantMap()
                                        << "<nothing>";
        QTest::newRow("no weights at all")
            << table(banners, { ad(QStringLiteral("a")) }) << banners << QVariantMap() << "<nothing>";
        QTest::newRow("empty placement") << table(banners, {}) << banners << QVariantMap() << "<nothing>";
        QTest::newRow("missing placement") << table(videos, { a }) << banners << QVariantMap() << "<nothing>";
        QTest::newRow("priority of the wrong shape weighs nothing") << table(
            banners,
            { ad(QStringLiteral("a"), QVariantMap { { QStringLiteral("x"), 1 } }), ad(QStringLiteral("b"), 2) })
                                                                    << banners << QVariantMap() << "b";
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
    }

    // 2.4 + 2.4 makes a total of 5 but two intervals of 2: a draw of 4 matches nothing.
    void fractionalWeightsCanMissEveryInterval()
    {
        const QVariantMap ads
            = table(QStringLiteral("standard"), { ad(QStringLiteral("a"), 2.4), ad(QStringLiteral("b"), 2.4) });
        const auto random = seeded(3);
        QHash<QString, int> counts;
        for (int i = 0; i < 5000; ++i)
            ++counts[drawName(ads, QStringLiteral("standard"), {}, random)];
        QCOMPARE(counts.size(), 3);
        QVERIFY(std::abs(counts.value(QStringLiteral("<nothing>")) - 1000) < 150);
    }

    void absentTableGivesNothing()
    {
        QVERIFY(!AdsSelection::getInfoObjectWithConsideringWeightForKey(std::nullopt, QStringLiteral("standard"), {},
                                                                        seeded(1)));
    }
};

VELMORA_TEST_MAIN(SelectionTest)
#include "tst_selection.moc"
