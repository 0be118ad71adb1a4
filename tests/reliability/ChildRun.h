#pragma once

#include <QByteArray>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

namespace velmora::test {

// Runs this test's own executable again as a child in the same private home, with extra
// environment; returns its exit status and output. The child is killed after `timeoutMs`.
struct ChildResult {
    bool finished = false; // exited by itself (not killed, not timed out)
    int exitCode = -1;
    bool crashed = false;
    QByteArray out;
    QByteArray err;
};

ChildResult runChild(const QStringList &arguments, const QProcessEnvironment &extra, int timeoutMs);

} // namespace velmora::test
