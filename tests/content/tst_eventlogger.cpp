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

    // A stored queue is what the next process starts with, an unreadable one an empty queue;
    // adding nothing still stores it.
    void queueIsLoadedByANewProcess()
    {
        const auto queueOfANewProcess = [] {
            return QString::fromUtf8(test::runChild({ { "VELMORA_PRINT_QUEUE", "1" } }).out).trimmed();
        };
        VLMSetObjForKey(QByteArray("\xff\x00garbage", 9), stackKey);
        QCOMPARE(queueOfANewProcess(), QString());
        AdsEventLogger *logger = AdsEventLogger::sharedInstance();
        logger->setEventStack({ closedPort });
        VLMSetObjForKey(QByteArray(), stackKey);
        logger->addEventURL(QUrl());
        QTRY_COMPARE(storedQueue(), QList<QUrl> { closedPort });
        QCOMPARE(queueOfANewProcess(), closedPort.toString());
    }

    // Status codes are not judged: a whole answer delivers the event and sends the waiting
    // queue after it. Only an answer that did not arrive whole goes back, behind the queue.
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
        const QString row = QString::fromLatin1(QTest::currentDataTag()).replace(QLatin1Char(' '), QLatin1Char('-'));
        QList<QUrl> waiting;
        for (int i = 1; i <= 3; ++i)
            waiting << m_server.url(QStringLiteral("/queued/%1/%2").arg(row).arg(i));
        logger->setEventStack(waiting);
        QVERIFY(m_server.setFaults({ { QStringLiteral("/tracked"), fault } }));
        const QUrl url = m_server.url(QStringLiteral("/tracked"));
        const qsizetype before = m_server.logLines().size();
        logger->logEventWithURL(url);
        QTRY_VERIFY(m_server.logLines().size() > before);
        const QList<QUrl> expected = queued ? waiting + QList<QUrl> { url } : QList<QUrl>();
        // Settled: the reply's outcome has had time to reach the queue.
        QTest::qWait(300);
        QTRY_COMPARE(logger->eventStack(), expected);
        QCOMPARE(storedQueue(), expected);
        for (const QUrl &sent : waiting)
            QTRY_COMPARE(m_server.requests(QStringLiteral("GET"), sent.path()).isEmpty(), queued);
        QVERIFY(m_server.resetFaults());
    }

private:
    QTemporaryDir m_dir;
    AdServerProcess m_server;
};

VELMORA_TEST_MAIN_WITH_CHILD(EventLoggerTest, "VELMORA_PRINT_QUEUE", printQueue())
#include "tst_eventlogger.moc"
