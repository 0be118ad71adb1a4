#include "TestEnvironment.h"

#include "BuildConfig.h"
#include "support/StandardNames.h"

#include <QMovie>
#include <QRegularExpression>

using namespace velmora;

class HouseBannersTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void tableHasFourStoreApps()
    {
        const QMap<QString, QString> table = StandardNames::standardBanners();
        QCOMPARE(table.size(), 4);
        const QRegularExpression identifier(QStringLiteral("^mac\\.\\d{6}\\.mac-store$"));
        const QRegularExpression link(QStringLiteral("^macappstores://%1/app/id\\d{10}$")
                                          .arg(QRegularExpression::escape(QStringLiteral(VELMORA_STORE_HOST_DEFAULT))));
        QStringList storeIds;
        for (auto row = table.cbegin(); row != table.cend(); ++row) {
            QVERIFY2(identifier.match(row.key()).hasMatch(), qPrintable(row.key()));
            QVERIFY2(link.match(row.value()).hasMatch(), qPrintable(row.value()));
            storeIds << row.value();
        }
        storeIds.removeDuplicates();
        QCOMPARE(storeIds.size(), 4);
    }

    void everyHouseBannerHasAnAnimatedPicture_data()
    {
        QTest::addColumn<QString>("identifier");
        const QStringList keys = StandardNames::standardBanners().keys();
        for (const QString &key : keys)
            QTest::newRow(qPrintable(key)) << key;
    }

    void everyHouseBannerHasAnAnimatedPicture()
    {
        QFETCH(QString, identifier);
        const std::unique_ptr<QMovie> picture = StandardNames::bannerFromName(identifier);
        QVERIFY(picture);
        QVERIFY(picture->jumpToFrame(0));
        const QImage first = picture->currentImage();
        QVERIFY(!first.isNull());
        // A banner strip: much wider than high.
        QVERIFY2(first.width() >= 4 * first.height(),
                 qPrintable(QStringLiteral("%1x%2").arg(first.width()).arg(first.height())));
        QVERIFY(picture->frameCount() > 1);
    }
};

VELMORA_TEST_MAIN(HouseBannersTest)
#include "tst_housebanners.moc"
