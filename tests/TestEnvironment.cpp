#include "TestEnvironment.h"

#include <QDir>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <cstdlib>

namespace velmora::test {

namespace {
QString rootPath;

QTemporaryDir &ownedRoot()
{
    static QTemporaryDir dir(QDir::tempPath() + QStringLiteral("/velmora-test-XXXXXX"));
    return dir;
}
} // namespace

void TestEnvironment::prepare(const char *testName)
{
    const QByteArray inherited = qgetenv("VELMORA_TEST_ROOT");
    rootPath = inherited.isEmpty() ? ownedRoot().path() : QString::fromLocal8Bit(inherited);
    const QByteArray root = rootPath.toLocal8Bit();
    qputenv("VELMORA_TEST_ROOT", root);
    qputenv("HOME", root + "/home");
    qputenv("XDG_CONFIG_HOME", root + "/config");
    qputenv("XDG_CACHE_HOME", root + "/cache");
    qputenv("XDG_DATA_HOME", root + "/data");
    qputenv("XDG_RUNTIME_DIR", root + "/runtime");
    // English unless a run names another language (screenshots of the translated screens).
    const QByteArray language = qgetenv("VELMORA_TEST_LANGUAGE");
    qputenv("LC_ALL", language.isEmpty() ? QByteArray("C.UTF-8") : language);
    qunsetenv("LANGUAGE");
    // The Wayland job runs the window-level tests on a real compositor: the platform it
    // names wins over the one ctest sets for every test.
    if (const QByteArray platform = qgetenv("VELMORA_TEST_PLATFORM"); !platform.isEmpty())
        qputenv("QT_QPA_PLATFORM", platform);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    for (const char *sub : { "/home", "/config", "/cache", "/data", "/runtime" })
        QDir().mkpath(rootPath + QLatin1String(sub));
    QFile::setPermissions(rootPath + QStringLiteral("/runtime"),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    QCoreApplication::setOrganizationName(QStringLiteral("VelmoraTests"));
    QCoreApplication::setApplicationName(QString::fromLatin1(testName));
}

QString TestEnvironment::root()
{
    return rootPath;
}

QString TestEnvironment::sourcePath(const QString &relative)
{
    return qEnvironmentVariable("VELMORA_SOURCE_DIR", QStringLiteral(".")) + QLatin1Char('/') + relative;
}

QString TestEnvironment::binaryPath(const QString &relative)
{
    return qEnvironmentVariable("VELMORA_BINARY_DIR", QStringLiteral(".")) + QLatin1Char('/') + relative;
}

QUrl TestEnvironment::mediaUrl(const QString &name)
{
    return QUrl::fromLocalFile(sourcePath(QStringLiteral("tests/data/media/") + name));
}

bool TestEnvironment::writeInfoPlist(const QString &folder, const QString &identifier)
{
    QDir().mkpath(folder);
    QFile plist(folder + QStringLiteral("/Info.plist"));
    if (!plist.open(QIODevice::WriteOnly))
        return false;
    const QString entry = identifier.isNull()
        ? QString()
        : QStringLiteral("<key>MetrivoAppId</key><string>%1</string>").arg(identifier.toHtmlEscaped());
    plist.write(
        QStringLiteral("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\"><dict>%1</dict></plist>\n")
            .arg(entry)
            .toUtf8());
    return true;
}

} // namespace velmora::test
