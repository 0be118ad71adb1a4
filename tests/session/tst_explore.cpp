// Seeded random host sessions over the real framework, checked after every step.
//
//   tst_explore [--seed S]          VELMORA_EXPLORE_SESSIONS (else 200) random sessions from seed S on
//   tst_explore --replay FILE...    sessions written down, one step a line
//
// A failing session is shrunk to the fewest steps that still fail and printed as a replay;
// keep it under tests/session/replays/ so that CTest runs it from then on.

#include "HostSession.h"
#include "TestEnvironment.h"

#include <QDesktopServices>
#include <QElapsedTimer>
#include <QFile>
#include <QRegularExpression>

#include <cstdio>
#include <optional>

using namespace velmora::test;

namespace {

struct Failure {
    int step = -1;
    QString violation;
};

// Store pages and web links open here instead of in a browser.
class UrlSink : public QObject {
    Q_OBJECT
public Q_SLOTS:
    void open(const QUrl &) { }
};

int totalChecks = 0;

std::optional<Failure> runSession(const QStringList &steps)
{
    if (steps.isEmpty())
        return Failure { -1, QStringLiteral("no steps") };
    HostSession session;
    std::optional<Failure> failure;
    for (int i = 0; i < steps.size() && !failure; ++i) {
        const QString violation = session.run(steps.at(i));
        if (!violation.isEmpty())
            failure = Failure { i, violation };
    }
    totalChecks += session.checks();
    return failure;
}

// The kind of a violation, without the figures that change as steps go.
QString kindOf(const QString &violation)
{
    static const QRegularExpression figures(QStringLiteral("[-0-9.]+"));
    return QString(violation).replace(figures, QStringLiteral("#"));
}

// Removes chunks of steps, then single steps, as long as the same kind of failure remains.
QStringList shrink(QStringList steps, Failure &failure)
{
    steps = steps.mid(0, failure.step + 1);
    const QString kind = kindOf(failure.violation);
    int budget = 400;
    for (int chunk = qMax(1, int(steps.size()) / 2); chunk >= 1 && budget > 0; chunk /= 2) {
        for (int start = 0; start < steps.size() && budget > 0;) {
            QStringList candidate = steps;
            candidate.remove(start, qMin(chunk, int(candidate.size()) - start));
            --budget;
            const std::optional<Failure> again = runSession(candidate);
            if (again && kindOf(again->violation) == kind) {
                steps = candidate.mid(0, again->step + 1);
                failure = *again;
            } else {
                start += chunk;
            }
        }
    }
    return steps;
}

QStringList readReplay(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text))
        return {};
    QStringList steps;
    for (const QString &line : QString::fromUtf8(file.readAll()).split(QLatin1Char('\n'))) {
        const QString step = line.section(QLatin1Char('#'), 0, 0).trimmed();
        if (!step.isEmpty())
            steps << step;
    }
    return steps;
}

} // namespace

int main(int argc, char **argv)
{
    TestEnvironment::prepare("tst_explore");
    QApplication app(argc, argv);
    UrlSink sink;
    for (const char *scheme : { "macappstores", "https", "http" })
        QDesktopServices::setUrlHandler(QString::fromLatin1(scheme), &sink, "open");

    // Each session's title and steps: the replays named, else seeded random sessions.
    const QStringList args = app.arguments().mid(1);
    const qsizetype replayAt = args.indexOf(QStringLiteral("--replay"));
    QList<std::pair<QString, QStringList>> sessions;
    for (const QString &path : args.mid(replayAt < 0 ? args.size() : replayAt + 1))
        sessions.append({ path, readReplay(path) });
    if (replayAt < 0) {
        const qsizetype seedAt = args.indexOf(QStringLiteral("--seed"));
        const quint32 first = seedAt < 0 ? 1 : args.value(seedAt + 1).toUInt();
        const int count = qEnvironmentVariableIntValue("VELMORA_EXPLORE_SESSIONS");
        for (quint32 seed = first; seed < first + quint32(count > 0 ? count : 200); ++seed)
            sessions.append({ QStringLiteral("seed %1").arg(seed), HostSession::randomSteps(seed, 60) });
    }

    QElapsedTimer elapsed;
    elapsed.start();
    int failed = 0;
    long long steps = 0;
    for (const auto &[title, session] : std::as_const(sessions)) {
        steps += session.size();
        std::optional<Failure> failure = runSession(session);
        if (!failure)
            continue;
        ++failed;
        // A random session is shrunk; a replay is shown as it is, up to the failing step.
        const QStringList replay = replayAt < 0 ? shrink(session, *failure) : session.mid(0, failure->step + 1);
        std::printf("FAIL %s: %s at step %d\n# replay (%lld steps):\n", qPrintable(title),
                    qPrintable(failure->violation), failure->step + 1, qlonglong(replay.size()));
        for (const QString &step : replay)
            std::printf("%s\n", qPrintable(step));
        std::fflush(stdout);
    }
    std::printf("explore: %lld sessions, %lld steps, %d invariant checks, %.1f s\n", qlonglong(sessions.size()), steps,
                totalChecks, double(elapsed.elapsed()) / 1000.0);
    std::printf("explore: %d of %lld sessions failed\n", failed, qlonglong(sessions.size()));
    return failed == 0 ? 0 : 1;
}

#include "tst_explore.moc"
