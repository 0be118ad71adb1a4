#pragma once

#include <QApplication>
#include <QString>
#include <QtTest>

namespace velmora::test {

// Gives a test process a private home before Qt starts: settings, caches and data land in
// a temporary folder that is removed at exit, and the language is fixed. A child process
// started by the test inherits the same folder.
class TestEnvironment {
public:
    static void prepare(const char *testName);
    // The private folder (HOME and the XDG folders live below it).
    static QString root();
    // A source file of the project, e.g. "tests/data/x.strings".
    static QString sourcePath(const QString &relative);
    static QString binaryPath(const QString &relative);
    // A file of tests/data/media, e.g. "test-video-short.mp4".
    static QUrl mediaUrl(const QString &name);
    // A host's Info.plist in `folder`, with MetrivoAppId `identifier` (none when null).
    static bool writeInfoPlist(const QString &folder, const QString &identifier);
};

} // namespace velmora::test

#define VELMORA_TEST_MAIN(TestObject)                                                                                  \
    int main(int argc, char **argv)                                                                                    \
    {                                                                                                                  \
        velmora::test::TestEnvironment::prepare(#TestObject);                                                          \
        QApplication app(argc, argv);                                                                                  \
        TestObject tc;                                                                                                 \
        return QTest::qExec(&tc, argc, argv);                                                                          \
    }

// The same, for a test that starts its own executable again as a child: a run with the
// environment variable `childVariable` set returns `childMain` instead of running the tests.
#define VELMORA_TEST_MAIN_WITH_CHILD(TestObject, childVariable, childMain)                                             \
    int main(int argc, char **argv)                                                                                    \
    {                                                                                                                  \
        velmora::test::TestEnvironment::prepare(#TestObject);                                                          \
        QApplication app(argc, argv);                                                                                  \
        if (qEnvironmentVariableIsSet(childVariable))                                                                  \
            return childMain;                                                                                          \
        TestObject tc;                                                                                                 \
        return QTest::qExec(&tc, argc, argv);                                                                          \
    }
