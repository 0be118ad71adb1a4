#include "TestEnvironment.h"

#include "support/StandardNames.h"

#include <QMovie>

using namespace velmora;

class HouseBannersTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
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
