#include "TestEnvironment.h"

#include "AdServerProcess.h"
#include "ChildRun.h"
#include "content/AdsEventLogger.h"

#include <velmora/Support.h>

#include <QJsonObject>
#include <QTemporaryDir>

using namespace velmora;
using velmora::test::AdServerProcess;

namespace {
const QString stackKey = QStringLiteral("eventStackData");
const QUrl closedPort(QStringLiteral("http://127.0.0.1:9/event?id=1"));

QList<QUrl> storedQueue()
{
    return AdsEventLogger::unarchive(VLMObjForKey(stackKey).toByteArray());
}

// The child of queueIsLoadedByANewProcess: the queue this process starts with.
int printQueue()
{
    for (const QUrl &url : AdsEventLogger::sharedInstance()->eventStack())
        printf("%s\n", qPrintable(url.toString()));
    return 0;
}
} // namespace

class EventLoggerTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_dir.isValid());
        QVERIFY(m_server.start(m_dir.path()));
    }

    // First: the process-wide logger reads the stored queue when it is made.
    void corruptStoredQueueGivesAnEmptyQueue()
    {
        VLMSetObjForKey(QByteArray("\xff\x00garbage", 9), stackKey);
        QVERIFY(AdsEventLogger::sharedInstance()->eventStack().isEmpty());
    }

    // A stored queue is what the next process starts with; adding nothing still stores it.
    void queueIsLoadedByANewProcess()
    {
        AdsEventLogger *logger = AdsEventLogger::sharedInstance();
        logger->setEventStack({ closedPort });
        VLMSetObjForKey(QByteArray(), stackKey);
        logger->addEventURL(QUrl());
        QTRY_COMPARE(storedQueue(), QList<QUrl> { closedPort });
        const test::ChildResult child = test::runChild({ { "VELMORA_PRINT_QUEUE", "1" } });
        QCOMPARE(QString::fromUtf8(child.out).trimmed(), closedPort.toString());
    }

    void successDrainsTheQueue()
    {
        AdsEventLogger *logger = AdsEventLogger::sharedInstance();
        const QList<QUrl> queued { m_server.url(QStringLiteral("/e1")), m_server.url(QStringLiteral("/e2")),
                                   m_server.url(QStringLiteral("/e3")) };
        logger->setEventStack(queued);
        logger->logEventWithURL(m_server.url(QStringLiteral("/e0")));
        QTRY_VERIFY(logger->eventStack().isEmpty());
        QTRY_VERIFY(storedQueue().isEmpty());
        for (const char *path : { "/e0", "/e1", "/e2", "/e3" })
            QVERIFY2(!m_server.requests(QStringLiteral("GET"), QString::fromLatin1(path)).isEmpty(), path);
    }

    // Status codes are not judged; only an answer that did not arrive whole goes back.
    void deliveryOutcome_data()
    {
        QTest::addColumn<QJsonObject>("fault");
        QTest::addColumn<bool>("queued");
        QTest::newRow("answered 200") << QJsonObject { { "body", "ok" } } << false;
        QTest::newRow("answered 404") << QJsonObject { { "status", 404 } } << false;
        QTest::newRow("answered 500") << QJsonObject { { "status", 500 } } << false;
        QTest::newRow("cut mid-body") << QJsonObject { { "repeatBody", 4096 }, { "truncateAt", 10 } } << true;
        QTest::newRow("reset") << QJsonObject { { "reset", true } } << true;
    }

    void deliveryOutcome()
    {
        QFETCH(QJsonObject, fault);
        QFETCH(bool, queued);
        AdsEventLogger *logger = AdsEventLogger::sharedInstance();
        logger->setEventStack({});
        QVERIFY(m_server.setFaults({ { QStringLiteral("/tracked"), fault } }));
        const QUrl url = m_server.url(QStringLiteral("/tracked"));
        const qsizetype before = m_server.logLines().size();
        logger->logEventWithURL(url);
        QTRY_VERIFY(m_server.logLines().size() > before);
        const QList<QUrl> expected = queued ? QList<QUrl> { url } : QList<QUrl>();
        // Settled: the reply's outcome has had time to reach the queue.
        QTest::qWait(300);
        QTRY_COMPARE(logger->eventStack(), expected);
        QCOMPARE(storedQueue(), expected);
        QVERIFY(m_server.resetFaults());
    }

private:
    QTemporaryDir m_dir;
    AdServerProcess m_server;
};

VELMORA_TEST_MAIN_WITH_CHILD(EventLoggerTest, "VELMORA_PRINT_QUEUE", printQueue())
#include "tst_eventlogger.moc"
