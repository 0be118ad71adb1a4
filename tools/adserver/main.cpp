// velmora-adserver: development ad server. See README.md for the protocol and options.

#include "AdServer.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <QSocketNotifier>
#include <QSslSocket>

#include <csignal>
#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

using velmora::adserver::AdServer;

namespace {

int signalPipe[2] = { -1, -1 };

void onSignal(int)
{
    // Only async-signal-safe work here; the event loop does the rest.
    const char byte = 1;
    [[maybe_unused]] const ssize_t n = ::write(signalPipe[1], &byte, 1);
}

bool installSignalHandlers(QCoreApplication &app)
{
    if (::socketpair(AF_UNIX, SOCK_STREAM, 0, signalPipe) != 0)
        return false;
    auto *notifier = new QSocketNotifier(signalPipe[0], QSocketNotifier::Read, &app);
    QObject::connect(notifier, &QSocketNotifier::activated, &app, [] { QCoreApplication::quit(); });
    struct sigaction action { };
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    return ::sigaction(SIGTERM, &action, nullptr) == 0 && ::sigaction(SIGINT, &action, nullptr) == 0;
}

int fail(const QString &message)
{
    std::fprintf(stderr, "velmora-adserver: %s\n", qPrintable(message));
    return 2;
}

bool loadTls(const QString &certFile, const QString &keyFile, AdServer::TlsSettings *tls, QString *error)
{
    if (!QSslSocket::supportsSsl()) {
        *error = QStringLiteral("TLS is not available in this Qt build");
        return false;
    }
    tls->chain = QSslCertificate::fromPath(certFile, QSsl::Pem);
    if (tls->chain.isEmpty()) {
        *error = QStringLiteral("no PEM certificate in %1").arg(certFile);
        return false;
    }
    QFile file(keyFile);
    if (!file.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("cannot read %1: %2").arg(keyFile, file.errorString());
        return false;
    }
    const QByteArray pem = file.readAll();
    for (QSsl::KeyAlgorithm algorithm : { QSsl::Rsa, QSsl::Ec, QSsl::Dsa }) {
        tls->key = QSslKey(pem, algorithm, QSsl::Pem, QSsl::PrivateKey);
        if (!tls->key.isNull())
            return true;
    }
    *error = QStringLiteral("no unencrypted PEM private key in %1").arg(keyFile);
    return false;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("velmora-adserver"));

    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Development ad server for Velmora. Serves the ad folder DIR on a loopback address:\n"
                       "  POST /api/v1/banners  answers DIR/manifest.json as stored\n"
                       "  GET  /<path>          serves DIR/<path> (never outside DIR)\n"
                       "  POST /__control/faults, /__control/reset  change the fault table\n"
                       "Prints \"listening on <scheme>://<address>:<port>\" once it listens."));
    parser.addHelpOption();
    const QCommandLineOption rootOption(QStringLiteral("root"), QStringLiteral("Ad folder to serve (required)."),
                                        QStringLiteral("DIR"));
    const QCommandLineOption portOption(QStringLiteral("port"), QStringLiteral("Port; 0 picks a free one (default)."),
                                        QStringLiteral("N"), QStringLiteral("0"));
    const QCommandLineOption logOption(QStringLiteral("log"),
                                       QStringLiteral("Append one JSON line per request received to FILE."),
                                       QStringLiteral("FILE"));
    const QCommandLineOption faultsOption(QStringLiteral("faults"),
                                          QStringLiteral("Initial fault table: JSON object, path -> fault."),
                                          QStringLiteral("FILE"));
    const QCommandLineOption httpsOption(QStringLiteral("https"), QStringLiteral("Serve HTTPS (needs --cert, --key)."));
    const QCommandLineOption certOption(
        QStringLiteral("cert"), QStringLiteral("PEM certificate, followed by its chain."), QStringLiteral("FILE"));
    const QCommandLineOption keyOption(QStringLiteral("key"), QStringLiteral("PEM private key, unencrypted."),
                                       QStringLiteral("FILE"));
    const QCommandLineOption addressOption(QStringLiteral("address"),
                                           QStringLiteral("Loopback address to listen on: 127.0.0.1 (default) or ::1."),
                                           QStringLiteral("ADDR"), QStringLiteral("127.0.0.1"));
    parser.addOptions(
        { rootOption, portOption, addressOption, logOption, faultsOption, httpsOption, certOption, keyOption });
    parser.process(app);

    if (!parser.positionalArguments().isEmpty())
        return fail(QStringLiteral("unexpected argument %1 (see --help)").arg(parser.positionalArguments().first()));
    if (!parser.isSet(rootOption))
        return fail(QStringLiteral("--root DIR is required (see --help)"));
    const QString root = parser.value(rootOption);
    if (!QFileInfo(root).isDir())
        return fail(QStringLiteral("%1 is not a folder").arg(root));
    bool portOk = false;
    const uint port = parser.value(portOption).toUInt(&portOk);
    if (!portOk || port > 65535)
        return fail(QStringLiteral("bad port %1").arg(parser.value(portOption)));

    // Loopback only: a development server must not be reachable from the network.
    const QHostAddress address(parser.value(addressOption));
    if (!address.isLoopback())
        return fail(QStringLiteral("%1 is not a loopback address").arg(parser.value(addressOption)));

    AdServer server(root);
    QString error;
    if (parser.isSet(logOption) && !server.setLogFile(parser.value(logOption), &error))
        return fail(QStringLiteral("cannot open log %1: %2").arg(parser.value(logOption), error));
    if (parser.isSet(faultsOption)) {
        QFile faults(parser.value(faultsOption));
        if (!faults.open(QIODevice::ReadOnly))
            return fail(QStringLiteral("cannot read %1: %2").arg(faults.fileName(), faults.errorString()));
        if (!server.setFaults(faults.readAll(), &error))
            return fail(QStringLiteral("bad fault table %1: %2").arg(faults.fileName(), error));
    }
    if (parser.isSet(httpsOption)) {
        if (!parser.isSet(certOption) || !parser.isSet(keyOption))
            return fail(QStringLiteral("--https needs --cert FILE and --key FILE"));
        AdServer::TlsSettings tls;
        if (!loadTls(parser.value(certOption), parser.value(keyOption), &tls, &error))
            return fail(error);
        server.enableTls(tls);
    } else if (parser.isSet(certOption) || parser.isSet(keyOption)) {
        return fail(QStringLiteral("--cert and --key need --https"));
    }

    if (!installSignalHandlers(app))
        return fail(QStringLiteral("cannot install signal handlers"));
    QUrl shown;
    shown.setScheme(QLatin1String(server.usesTls() ? "https" : "http"));
    shown.setHost(address.toString());
    if (!server.listen(address, static_cast<quint16>(port)))
        return fail(QStringLiteral("cannot listen on %1 port %2: %3")
                        .arg(address.toString())
                        .arg(port)
                        .arg(server.errorString()));

    std::printf("listening on %s:%u\n", shown.toEncoded().constData(), server.serverPort());
    std::fflush(stdout);
    return app.exec();
}
