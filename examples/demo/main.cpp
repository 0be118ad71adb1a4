// velmora-demo: a notes application that shows Velmora's splash screen and banners.
//
//   velmora-demo                 interactive, against $VELMORA_AD_SERVER_URL
//   velmora-demo --headless --out DIR [--remove-ads-answer yes|no]
//                                scripted session writing screenshots into DIR (also
//                                when there is no display)
// Both write the notification log to DIR/notifications.log and to standard output.
#include "DemoInspectorWindow.h"
#include "DemoMainWindow.h"
#include "HeadlessSession.h"
#include "NotificationLog.h"

#include <velmora/Velmora.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDir>
#include <QFileInfo>
#include <QMessageBox>
#include <QPainter>
#include <QTimer>

#include <cstdio>

using velmora::Velmora;

namespace {

void styleSplashScreens()
{
    Velmora::setSplashScreenBackgroundColor(QColor(250, 250, 252));
    Velmora::setSplashScreenTextColor(QColor(33, 33, 40));
    Velmora::setSplashScreenTimerBorderColor(QColor(210, 212, 220), QColor(76, 110, 245));
    Velmora::setSplashScreenTimerBorderWidth(2, 4);
    // Leave the toolbar strip of the main window visible.
    Velmora::setSplashScreenTopInset(0);
}

// The notes app's icon, drawn here so the demo needs no image files.
QIcon appIcon()
{
    QPixmap pixmap(256, 256);
    pixmap.fill(Qt::transparent);
    QPainter painter(&pixmap);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient gradient(0, 0, 0, 256);
    gradient.setColorAt(0, QColor(255, 196, 61));
    gradient.setColorAt(1, QColor(245, 140, 30));
    painter.setBrush(gradient);
    painter.setPen(Qt::NoPen);
    painter.drawRoundedRect(QRectF(8, 8, 240, 240), 52, 52);
    painter.setBrush(QColor(255, 255, 255, 235));
    painter.drawRoundedRect(QRectF(64, 52, 128, 152), 14, 14);
    painter.setPen(QPen(QColor(245, 140, 30), 10, Qt::SolidLine, Qt::RoundCap));
    for (int y : { 96, 128, 160 })
        painter.drawLine(88, y, 168, y);
    return QIcon(pixmap);
}

void askToRemoveAds(QWidget *parent)
{
    const auto answer = QMessageBox::question(parent, QStringLiteral("Remove ads"),
                                              QStringLiteral("Remove all ads from Velmora Notes for good?"),
                                              QMessageBox::Yes | QMessageBox::No);
    if (answer == QMessageBox::Yes)
        Velmora::removeAdsNow();
}

} // namespace

int main(int argc, char **argv)
{
    const bool noDisplay = qEnvironmentVariableIsEmpty("DISPLAY") && qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY");
    if (noDisplay && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    QApplication::setOrganizationName(QStringLiteral("Velmora"));
    QApplication::setApplicationName(QStringLiteral("velmora-demo"));
    QApplication::setWindowIcon(appIcon());

    QCommandLineParser parser;
    parser.addHelpOption();
    const QCommandLineOption headlessOption(QStringLiteral("headless"), QStringLiteral("Run the scripted session."));
    const QCommandLineOption outOption(QStringLiteral("out"), QStringLiteral("Folder for screenshots and the log."),
                                       QStringLiteral("dir"), QStringLiteral("velmora-demo-output"));
    const QCommandLineOption answerOption(QStringLiteral("remove-ads-answer"),
                                          QStringLiteral("Scripted answer to a remove-ads request: yes or no."),
                                          QStringLiteral("answer"), QStringLiteral("yes"));
    const QCommandLineOption debugOption(QStringLiteral("debug"), QStringLiteral("Turn on Velmora's debug log."));
    parser.addOptions({ headlessOption, outOption, answerOption, debugOption });
    parser.process(app);
    const bool headless = parser.isSet(headlessOption) || noDisplay;
    const QString out = parser.value(outOption);
    const QString answer = parser.value(answerOption).toLower();
    if (answer != QLatin1String("yes") && answer != QLatin1String("no")) {
        std::fprintf(stderr, "velmora-demo: --remove-ads-answer takes yes or no\n");
        return 2;
    }

    QDir().mkpath(out);
    NotificationLog log(QDir(out).filePath(QStringLiteral("notifications.log")));
    log.note(QStringLiteral("demo: notification log %1").arg(QFileInfo(log.path()).absoluteFilePath()));
    if (parser.isSet(debugOption))
        Velmora::activateDebugMode();
    if (headless)
        Velmora::resetAds(); // a scripted run always starts with ads on

    DemoMainWindow mainWindow;
    mainWindow.resize(1024, 700);
    DemoInspectorWindow inspector;
    inspector.resize(760, 360);
    mainWindow.show();
    inspector.show();
    inspector.move(mainWindow.geometry().right() + 20, mainWindow.y());

    // The first call creates the presenter and starts the download; a short first-start
    // delay suits a demo better than the default 30 seconds.
    Velmora::setSplashScreenDelay(2);
    Velmora::setSplashScreenLoadTime(5);
    styleSplashScreens();
    Velmora::addSplashScreenToWindow(&mainWindow);
    Velmora::addSplashScreenToWindow(&inspector);
    Velmora::addBannerForWindow(&mainWindow);
    Velmora::addBannerForViewController(inspector.panel(), inspector.panel());
    Velmora::setBannersSmallImage();

    QObject::connect(&mainWindow, &DemoMainWindow::showAdRequested, [] { Velmora::forceShow(); });
    QObject::connect(&mainWindow, &DemoMainWindow::removeAdsRequested, [&mainWindow] { askToRemoveAds(&mainWindow); });

    if (headless) {
        auto *session = new HeadlessSession(&mainWindow, &inspector, &log, out, answer == QLatin1String("yes"), &app);
        session->start();
    } else {
        // Queued: the question's event loop must not run inside the button click that asked.
        QObject::connect(velmora::NotificationCenter::defaultCenter(), &velmora::NotificationCenter::notificationPosted,
                         &mainWindow, [&mainWindow](const QString &name) {
                             if (name == QLatin1String(velmora::VLMtryRemoveAds))
                                 QMetaObject::invokeMethod(
                                     &mainWindow, [&mainWindow] { askToRemoveAds(&mainWindow); }, Qt::QueuedConnection);
                         });
        // A soft show does nothing until the first-start delay (and, after a close, the
        // waiting period) has passed; asking every second shows an ad soon after launch and
        // then at most every two minutes, and only while the user is in the app.
        auto *showTimer = new QTimer(&mainWindow);
        QObject::connect(showTimer, &QTimer::timeout, [] {
            if (Velmora::isADSReady() && !Velmora::isShowSplashScreen())
                Velmora::show();
        });
        showTimer->start(1000);
        mainWindow.activateWindow();
    }
    return app.exec();
}
