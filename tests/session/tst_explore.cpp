// Seeded random host sessions over the real framework, checked after every step.
//
//   tst_explore [--sequences N] [--steps M] [--seed S]   random sessions from seed S on
//                                                       (N defaults to VELMORA_EXPLORE_SESSIONS,
//                                                       else 200)
//   tst_explore --replay FILE...                          sessions written down, one step a line
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

HostSession::Clips clips()
{
    const auto clip = [](const char *path) { return QUrl::fromLocalFile(TestEnvironment::sourcePath(path)); };
    return { clip("tests/data/media/test-video-blink.mp4"), clip("tests/data/media/test-video.mp4"),
             clip("examples/sample-ads/media/video-cascade.mp4") };
}

int totalChecks = 0;

std::optional<Failure> runSession(const QStringList &steps)
{
    HostSession session(clips());
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

void printReplay(const QString &title, const QStringList &steps, const Failure &failure)
{
    std::printf("FAIL %s: %s at step %d\n# replay (%lld steps):\n", qPrintable(title), qPrintable(failure.violation),
                failure.step + 1, qlonglong(steps.size()));
    for (const QString &step : steps)
        std::printf("%s\n", qPrintable(step));
    std::fflush(stdout);
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

    QStringList args = app.arguments().mid(1);
    const int sessionsAsked = qEnvironmentVariableIntValue("VELMORA_EXPLORE_SESSIONS");
    int sequences = sessionsAsked > 0 ? sessionsAsked : 200;
    int stepsPerSequence = 60;
    quint32 seed = 1;
    QStringList replays;
    for (int i = 0; i < args.size(); ++i) {
        if (args[i] == QLatin1String("--sequences"))
            sequences = args.value(++i).toInt();
        else if (args[i] == QLatin1String("--steps"))
            stepsPerSequence = args.value(++i).toInt();
        else if (args[i] == QLatin1String("--seed"))
            seed = args.value(++i).toUInt();
        else if (args[i] == QLatin1String("--replay"))
            replays = args.mid(i + 1), i = int(args.size());
    }

    QElapsedTimer elapsed;
    elapsed.start();
    int failed = 0;
    int runs = 0;
    long long steps = 0;
    if (!replays.isEmpty()) {
        for (const QString &path : std::as_const(replays)) {
            const QStringList replay = readReplay(path);
            if (replay.isEmpty()) {
                std::printf("FAIL %s: no steps\n", qPrintable(path));
                ++failed;
                continue;
            }
            ++runs;
            steps += replay.size();
            if (const std::optional<Failure> failure = runSession(replay)) {
                printReplay(path, replay.mid(0, failure->step + 1), *failure);
                ++failed;
            }
        }
    } else {
        for (int i = 0; i < sequences; ++i, ++seed) {
            const QStringList session = HostSession::randomSteps(seed, stepsPerSequence);
            ++runs;
            steps += session.size();
            if (std::optional<Failure> failure = runSession(session)) {
                ++failed;
                const QStringList replay = shrink(session, *failure);
                printReplay(QStringLiteral("seed %1").arg(seed), replay, *failure);
            }
        }
    }
    std::printf("explore: %d sessions, %lld steps, %d invariant checks, %.1f s\n", runs, steps, totalChecks,
                double(elapsed.elapsed()) / 1000.0);
    std::printf("explore: %d of %d sessions failed\n", failed, runs);
    return failed == 0 ? 0 : 1;
}

#include "tst_explore.moc"
