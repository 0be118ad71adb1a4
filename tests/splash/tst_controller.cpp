#include "ChildProcesses.h"
#include "EdgeShare.h"
#include "TestEnvironment.h"
#include "splash/ControllerSteps.h"

#include "controls/ColoredView.h"
#include "splash/MediaProcess.h"
#include "splash/SplashScreenController.h"
#include "splash/SplashScreenControllerProtocolOutput.h"
#include "splash/VideoFrameView.h"
#include "splash/VideoPlayback.h"

#include <QAbstractButton>
#include <QDir>
#include <QLabel>
#include <QLocale>
#include <QMainWindow>
#include <QPainter>
#include <QPropertyAnimation>
#include <QTemporaryDir>
#include <QTextLayout>
#include <QToolBar>

#include <csignal>

using namespace velmora;
using velmora::test::edgeShare;
using velmora::test::TestEnvironment;

namespace {

class RecordingOutput : public SplashScreenControllerProtocolOutput {
public:
    void didClickOnVideo() override { calls << QStringLiteral("didClickOnVideo"); }
    void didChangeMuted(bool muted) override { calls << QStringLiteral("didChangeMuted:%1").arg(int(muted)); }
    void didClickRemoveAds() override { calls << QStringLiteral("didClickRemoveAds"); }
    void didClickClose() override { calls << QStringLiteral("didClickClose"); }
    void didVideoEnded() override { calls << QStringLiteral("didVideoEnded"); }

    QStringList calls;
};

// A stand-in for velmora-media that says what `commands` print and then hangs: what a
// broken or hostile helper would send.
QString fakeHelper(const char *commands)
{
    static QTemporaryDir folder;
    static int made = 0;
    const QString path = folder.filePath(QStringLiteral("helper-%1.sh").arg(++made));
    QFile script(path);
    if (!script.open(QIODevice::WriteOnly))
        return {};
    script.write(QByteArray("#!/bin/sh\n") + commands + "\nexec sleep 60\n");
    script.close();
    script.setPermissions(QFile::ReadOwner | QFile::ExeOwner);
    return path;
}

// The elements whose hidden flag is clear, the root view included. The root's children
// are the elements of SplashScreenController.ui and nothing else.
QStringList shownElements(const SplashScreenController &controller)
{
    const QWidget *root = controller.view();
    QStringList shown;
    if (!root->isHidden())
        shown << QStringLiteral("root");
    for (const QWidget *element : root->findChildren<QWidget *>(Qt::FindDirectChildrenOnly)) {
        if (!element->isHidden())
            shown << element->objectName();
    }
    shown.sort();
    return shown;
}

// The setters of the hidden flags, by the flag's name.
const QHash<QString, void (SplashScreenController::*)(bool)> &flagSetters()
{
    static const QHash<QString, void (SplashScreenController::*)(bool)> setters = {
        { QStringLiteral("hiddenIcon"), &SplashScreenController::setHiddenIcon },
        { QStringLiteral("hiddenIconBeforeVideo"), &SplashScreenController::setHiddenIconBeforeVideo },
        { QStringLiteral("hiddenIconAfterVideo"), &SplashScreenController::setHiddenIconAfterVideo },
        { QStringLiteral("hiddenBackgroundImage"), &SplashScreenController::setHiddenBackgroundImage },
        { QStringLiteral("hiddenBackgroundImageBeforeVideo"),
          &SplashScreenController::setHiddenBackgroundImageBeforeVideo },
        { QStringLiteral("hiddenBackgroundImageAfterVideo"),
          &SplashScreenController::setHiddenBackgroundImageAfterVideo },
        { QStringLiteral("hiddenButtonBeforeVideo"), &SplashScreenController::setHiddenButtonBeforeVideo },
        { QStringLiteral("hiddenButtonAfterVideo"), &SplashScreenController::setHiddenButtonAfterVideo },
    };
    return setters;
}

// Runs named steps of a showing and lets every fade end.
void runSteps(SplashScreenController &controller, const QStringList &steps)
{
    for (const QString &step : steps) {
        if (!test::runControllerStep(controller, step))
            QFAIL(qPrintable(QStringLiteral("unknown step ") + step));
    }
    QTRY_VERIFY(!controller.isFading());
}

QImage filledImage(QSize size, const QColor &color)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(color);
    return image;
}

// A host icon in the style of an application icon: a rounded gradient tile with a glyph.
QImage sampleIcon()
{
    QImage image(256, 256, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QLinearGradient gradient(0, 0, 0, 256);
    gradient.setColorAt(0, QColor(0x4f, 0x8c, 0xff));
    gradient.setColorAt(1, QColor(0x2a, 0x4d, 0xc9));
    painter.setBrush(gradient);
    painter.setPen(Qt::NoPen);
    painter.drawRoundedRect(QRectF(8, 8, 240, 240), 52, 52);
    QFont font = painter.font();
    font.setPixelSize(150);
    font.setBold(true);
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.drawText(image.rect(), Qt::AlignCenter, QStringLiteral("V"));
    return image;
}

// What lies outside `outer` or cannot show its whole content: empty when nothing is clipped.
QStringList clippedElements(const QWidget *root)
{
    QStringList clipped;
    for (const QWidget *child : root->findChildren<QWidget *>(Qt::FindDirectChildrenOnly)) {
        if (child->isHidden() || child->geometry().isEmpty()) // a zero-size element shows nothing
            continue;
        if (!root->rect().contains(child->geometry()))
            clipped << child->objectName();
    }
    for (const QLabel *label : root->findChildren<QLabel *>()) {
        if (!label->isVisibleTo(root) || label->text().isEmpty())
            continue;
        const QSize needed = label->wordWrap() ? QSize(0, label->heightForWidth(label->width())) : label->sizeHint();
        if (needed.width() > label->width() || needed.height() > label->height())
            clipped << label->objectName();
    }
    return clipped;
}

// Texts on screen with a character that no installed font can draw: the user sees an
// empty box (a screen in a language whose script the machine lacks).
QStringList undrawableTexts(const QWidget *root)
{
    QStringList undrawable;
    auto check = [&](const QWidget *widget, const QString &text) {
        if (!widget->isVisibleTo(root) || text.isEmpty())
            return;
        QTextLayout layout(text, widget->font());
        layout.beginLayout();
        layout.createLine();
        layout.endLayout();
        for (const QGlyphRun &run : layout.glyphRuns()) {
            if (run.glyphIndexes().contains(0))
                return void(undrawable << widget->objectName());
        }
    };
    for (const QLabel *label : root->findChildren<QLabel *>())
        check(label, label->text());
    for (const QAbstractButton *button : root->findChildren<QAbstractButton *>())
        check(button, button->text());
    return undrawable;
}

// Pairs of the named elements on screen whose frames overlap.
QStringList overlappingElements(const QWidget *root, const QList<const char *> &names)
{
    QList<const QWidget *> shown;
    for (const char *name : names) {
        const auto *element = root->findChild<QWidget *>(QLatin1String(name));
        if (element && !element->isHidden() && !element->geometry().isEmpty())
            shown << element;
    }
    QStringList overlapping;
    for (qsizetype i = 0; i < shown.size(); ++i) {
        for (qsizetype j = i + 1; j < shown.size(); ++j) {
            if (shown[i]->geometry().intersects(shown[j]->geometry()))
                overlapping << shown[i]->objectName() + QLatin1Char('/') + shown[j]->objectName();
        }
    }
    return overlapping;
}

// Picture views on screen, with room, that show no picture: an empty box to the user.
QStringList emptyPictures(const QWidget *root)
{
    QStringList empty;
    for (const QLabel *label : root->findChildren<QLabel *>()) {
        if (label->isVisibleTo(root) && label->text().isEmpty() && label->pixmap().isNull() && label->width() > 1
            && label->height() > 1 && label->objectName() != QLatin1String("bgImage"))
            empty << label->objectName();
    }
    return empty;
}
} // namespace

class SplashScreenControllerTest : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<QWidget> m_window;
    std::unique_ptr<SplashScreenController> m_controller;
    RecordingOutput m_output;

    // Shows `window` (a plain one when none is given) at `size` and attaches this test's
    // controller to it.
    SplashScreenController &attach(QWidget *window = nullptr, QSize size = QSize(800, 600))
    {
        m_window.reset(window ? window : new QWidget);
        m_window->resize(size);
        m_window->show();
        m_controller = SplashScreenController::initSplashScreenWithWindow(m_window.get(), false);
        m_controller->setOutput(&m_output);
        return *m_controller;
    }

private Q_SLOTS:
    void cleanup()
    {
        m_controller.reset();
        m_window.reset();
        m_output.calls.clear();
    }

    void attachesHiddenOverTheContent_data()
    {
        QTest::addColumn<bool>("mainWindow");
        QTest::addColumn<double>("inset");

        QTest::newRow("plain window, top inset") << false << 28.0;
        QTest::newRow("main window, top inset") << true << 40.0;
        QTest::newRow("negative inset reaches above") << false << -10.0;
    }

    void attachesHiddenOverTheContent()
    {
        QFETCH(bool, mainWindow);
        QFETCH(double, inset);
        QVERIFY(!SplashScreenController::initSplashScreenWithWindow(nullptr, false));

        QWidget *window = mainWindow ? new QMainWindow : new QWidget;
        QWidget *content = window;
        if (mainWindow) {
            auto *main = static_cast<QMainWindow *>(window);
            main->addToolBar(QStringLiteral("tools"))->addAction(QStringLiteral("Open"));
            content = new QWidget;
            main->setCentralWidget(content);
        }
        new QWidget(content); // a host view already in place
        QWidget *view = attach(window, QSize(700, 500)).view();

        QCOMPARE(view->parentWidget(), content);
        QVERIFY(view->isHidden()); // until its first showing
        QCOMPARE(content->children().last(), view); // above the host's own views

        m_controller->setTopInset(inset);
        const auto expected = [&] { return QRect(0, int(inset), content->width(), content->height() - int(inset)); };
        QCOMPARE(view->geometry(), expected());

        m_window->resize(1000, 760);
        QTRY_COMPARE(view->geometry(), expected());

        m_controller->removeFromWindow();
        QVERIFY(view->parentWidget() == nullptr);
    }

    void viewStates_data()
    {
        QTest::addColumn<QStringList>("steps");
        QTest::addColumn<QStringList>("flags");
        QTest::addColumn<bool>("interstitial");
        QTest::addColumn<QStringList>("shown");

        const QStringList allFlags = flagSetters().keys();
        const QStringList start = { "root", "bgImage", "iconImageView", "lablesView", "removeAdsButton", "urlButton" };
        const QStringList video = { "root",        "splashScreenPlayerView", "timeVideoLabel", "videoProgressView",
                                    "soundButton", "removeAdsImageButton",   "urlButton" };
        const QStringList end = { "root", "bgImage", "iconImageView", "removeAdsButton", "closeButton", "urlButton" };
        const auto without = [](QStringList list, const QStringList &gone) {
            for (const QString &name : gone)
                list.removeAll(name);
            return list;
        };

        // Steps and flags as words.
        const auto row = [](const char *name, const char *steps, const QStringList &flags, bool interstitial,
                            const QStringList &shown) {
            QTest::newRow(name) << QString::fromLatin1(steps).split(' ', Qt::SkipEmptyParts) << flags << interstitial
                                << shown;
        };
        row("attached: root hidden", "", {}, false, without(start, { "root" }));
        row("start", "start", {}, false, start);
        row("start, hiddenIcon", "start", { "hiddenIcon" }, false, without(start, { "iconImageView" }));
        row("start, hiddenIconBeforeVideo", "start", { "hiddenIconBeforeVideo" }, false,
            without(start, { "iconImageView" }));
        row("start ignores after-video flags", "start",
            { "hiddenIconAfterVideo", "hiddenBackgroundImageAfterVideo", "hiddenButtonAfterVideo" }, false, start);
        row("start, hiddenBackgroundImage", "start", { "hiddenBackgroundImage" }, false, without(start, { "bgImage" }));
        row("start, hiddenBackgroundImageBeforeVideo", "start", { "hiddenBackgroundImageBeforeVideo" }, false,
            without(start, { "bgImage" }));
        row("start, hiddenButtonBeforeVideo", "start", { "hiddenButtonBeforeVideo" }, false,
            without(start, { "removeAdsButton" }));
        row("withouSplash: only the colour", "startWithoutSplash", {}, false, { "root", "urlButton" });
        row("video", "start video", allFlags, false, video);
        row("video without splash", "startWithoutSplash video", {}, false, video);
        row("close button during the video", "start video end", {}, false,
            without(video, { "timeVideoLabel", "videoProgressView" }) + QStringList { "closeButton" });
        row("end after the video ended", "start video ended end", {}, false, end);
        row("end without a video", "start end", {}, false, end);
        row("end ignores before-video flags", "start end",
            { "hiddenIconBeforeVideo", "hiddenBackgroundImageBeforeVideo", "hiddenButtonBeforeVideo" }, false, end);
        row("end, hiddenIcon", "start end", { "hiddenIcon" }, false, without(end, { "iconImageView" }));
        row("end, hiddenIconAfterVideo", "start end", { "hiddenIconAfterVideo" }, false,
            without(end, { "iconImageView" }));
        row("end, hiddenBackgroundImageAfterVideo", "start end", { "hiddenBackgroundImageAfterVideo" }, false,
            without(end, { "bgImage" }));
        row("end, hiddenButtonAfterVideo", "start end", { "hiddenButtonAfterVideo" }, false,
            without(end, { "removeAdsButton" }));
        const QStringList interstitialEnd = { "root", "closeButton", "interstitialImage", "urlButton" };
        row("end with interstitial", "start video ended end", {}, true, interstitialEnd);
        row("end with interstitial, whatever the flags", "start end", allFlags, true, interstitialEnd);
        row("end after withouSplash", "startWithoutSplash end", {}, false, end);
        row("hidden", "start end hide", {}, false, without(end, { "root" }));
        row("start again after the end", "start end hide start", {}, true, start);
    }

    void viewStates()
    {
        QFETCH(QStringList, steps);
        QFETCH(QStringList, flags);
        QFETCH(bool, interstitial);
        QFETCH(QStringList, shown);
        shown.sort();

        SplashScreenController &controller = attach();
        for (const QString &flag : flags) {
            QVERIFY2(flagSetters().contains(flag), qPrintable(flag));
            (controller.*flagSetters().value(flag))(true);
        }
        controller.setVideoUrl(TestEnvironment::mediaUrl(QStringLiteral("missing.mp4")));
        if (interstitial)
            controller.setInterstitialUrl(TestEnvironment::mediaUrl(QStringLiteral("still.jpg")));
        runSteps(controller, steps);

        QCOMPARE(shownElements(controller), shown);

        // A real click in the middle of a shown splash screen lands on the click area, which
        // opens the ad from the video on.
        if (!shown.contains(QStringLiteral("root")))
            return;
        const bool sent = QStringList { "video", "ended", "end" }.contains(steps.constLast());
        const qsizetype before = m_output.calls.size();
        QWidget *view = controller.view();
        QWidget *hit = view->childAt(view->rect().center());
        QVERIFY(hit);
        QTest::mouseClick(hit, Qt::LeftButton, {}, hit->mapFrom(view, view->rect().center()));
        QCOMPARE(m_output.calls.mid(before), sent ? QStringList { "didClickOnVideo" } : QStringList {});
    }

    void fadesRunOnlyOnScreen()
    {
        SplashScreenController &controller = attach();
        controller.showStartScreen();
        QVERIFY(controller.isFading());
        // Half-way through the root's fade-in the host shows through its elements too, and
        // nothing is copied offscreen at the size of the window to get there.
        auto *fade = controller.view()->findChild<QPropertyAnimation *>(QStringLiteral("velmoraFade"),
                                                                        Qt::FindDirectChildrenOnly);
        QVERIFY(fade);
        fade->pause();
        fade->setCurrentTime(fade->duration() / 2);
        const QPoint button = controller.removeAdsButton()->geometry().center();
        const QColor half = m_window->grab().toImage().pixelColor(button);
        QList<QWidget *> elements = controller.view()->findChildren<QWidget *>();
        elements << controller.view();
        for (const QWidget *element : std::as_const(elements)) {
            QVERIFY2(!element->graphicsEffect()
                         || element->width() * element->height() < m_window->width() * m_window->height() / 4,
                     qPrintable(element->objectName()));
        }
        fade->setCurrentTime(fade->duration());
        QTRY_VERIFY(!controller.isFading());
        const QColor full = m_window->grab().toImage().pixelColor(button);
        QVERIFY2(half != full && half != m_window->palette().color(QPalette::Window),
                 qPrintable(half.name() + QLatin1Char(' ') + full.name()));

        m_window->hide();
        controller.showEndScreen();
        QVERIFY(!controller.isFading());
        QVERIFY(!controller.closeButton()->isHidden());
    }

    void buttonsReportToTheOutput()
    {
        SplashScreenController &controller = attach();
        controller.setVideoUrl(TestEnvironment::mediaUrl(QStringLiteral("missing.mp4")));
        runSteps(controller, { "startWithoutSplash", "video" });

        QTest::mouseClick(controller.soundButton(), Qt::LeftButton);
        QTest::mouseClick(controller.soundButton(), Qt::LeftButton);
        QTest::mouseClick(controller.removeAdsImageButton(), Qt::LeftButton);
        runSteps(controller, { "end" });
        QVERIFY(controller.withouSplash());
        QTest::mouseClick(controller.closeButton(), Qt::LeftButton);
        QVERIFY(!controller.withouSplash());
        runSteps(controller, { "hide", "start" });
        QTest::mouseClick(controller.removeAdsButton(), Qt::LeftButton);

        QCOMPARE(m_output.calls,
                 QStringList({ "didChangeMuted:1", "didChangeMuted:0", "didClickRemoveAds", "didClickClose",
                               "didClickRemoveAds" }));
        // The controller leaves muting to the presenter's answer.
        QVERIFY(!controller.isMuted());
    }

    void windowBehaviour_data()
    {
        QTest::addColumn<bool>("resizable");
        QTest::addColumn<uint>("behaviour");
        QTest::addColumn<uint>("whileShown");

        QTest::newRow("resizable, no behaviour") << true << 0u << 0u;
        QTest::newRow("resizable, primary and auxiliary") << true << 0x180u << 0x100u;
        QTest::newRow("fixed size, other bits") << false << 0x2007u << 0u;
    }

    void windowBehaviour()
    {
        QFETCH(bool, resizable);
        QFETCH(uint, behaviour);
        QFETCH(uint, whileShown);

        SplashScreenController &controller = attach(nullptr, QSize(640, 480));
        if (!resizable)
            m_window->setFixedSize(640, 480);
        else
            m_window->setMinimumSize(320, 240);
        m_window->setProperty("velmoraCollectionBehavior", behaviour);
        const QSize minimum = m_window->minimumSize();
        const QSize maximum = m_window->maximumSize();

        runSteps(controller, { "start" });
        QVERIFY(!SplashScreenController::isResizable(m_window.get()));
        QCOMPARE(SplashScreenController::collectionBehavior(m_window.get()), whileShown);

        // A second start during the showing must not forget that the window was resizable.
        runSteps(controller, { "start", "end", "hide" });
        QCOMPARE(SplashScreenController::isResizable(m_window.get()), resizable);
        QCOMPARE(m_window->minimumSize(), minimum);
        QCOMPARE(m_window->maximumSize(), maximum);
        QCOMPARE(SplashScreenController::collectionBehavior(m_window.get()), 0x80u);
    }

    void hostIconWinsOverTheApplicationIcon_data()
    {
        QTest::addColumn<bool>("hostIcon");
        QTest::addColumn<QColor>("shown");
        QTest::newRow("application icon") << false << QColor(Qt::red);
        QTest::newRow("host icon set first") << true << QColor(Qt::blue);
    }

    void hostIconWinsOverTheApplicationIcon()
    {
        QFETCH(bool, hostIcon);
        QFETCH(QColor, shown);

        QApplication::setWindowIcon(QIcon(QPixmap::fromImage(filledImage(QSize(64, 64), Qt::red))));
        SplashScreenController &controller = attach();
        if (hostIcon)
            controller.setIcon(filledImage(QSize(64, 64), Qt::blue));
        runSteps(controller, { "start" });
        QApplication::setWindowIcon(QIcon());

        const QImage pixels = controller.iconImageView()->grab().toImage();
        QCOMPARE(pixels.pixelColor(pixels.rect().center()), shown);
    }

    // The helper may be started ahead, during the start screen; one whose splash screen was
    // hidden before its video still serves the next showing, until it ends of idleness.
    void playsTheVideoToItsEnd_data()
    {
        QTest::addColumn<QString>("preparation");
        QTest::newRow("started when the video starts") << QString();
        QTest::newRow("started during the start screen") << QStringLiteral("prepare");
        QTest::newRow("started, then hidden before the video") << QStringLiteral("prepare, hide");
    }

    void playsTheVideoToItsEnd()
    {
        QFETCH(QString, preparation);
        const QUrl video = TestEnvironment::mediaUrl(QStringLiteral("test-video-short.mp4"));
        SplashScreenController &controller = attach();
        controller.setMuted(true);
        controller.setVideoUrl(video);
        runSteps(controller, { "start" });
        QPointer<MediaProcess> prepared;
        if (preparation.startsWith(QLatin1String("prepare"))) {
            controller.prepareVideo(video);
            QTRY_VERIFY(controller.playback()->process());
            QVERIFY2(!controller.playerlayer(), "a picture view made while its view is hidden");
            prepared = controller.playback()->process();
        }
        if (preparation.endsWith(QLatin1String("hide")))
            runSteps(controller, { "hide", "start" });
        runSteps(controller, { "video" });

        QCOMPARE(controller.playback()->process() == prepared.data(), !preparation.isEmpty());
        QVERIFY(!controller.canShowEnd());
        QVERIFY(controller.soundButton()->isChecked());
        QTRY_VERIFY_WITH_TIMEOUT(controller.playerlayer()->hasFrame(), 10000);
        QCOMPARE(controller.playback()->state(), VideoPlayback::State::Playing);
        QTRY_COMPARE_WITH_TIMEOUT(m_output.calls, QStringList { "didVideoEnded" }, 15000);
        QVERIFY(controller.canShowEnd());
    }

    // Whatever goes wrong with the video or its helper, also one killed or stopped mid-video,
    // the sequence goes on without a picture and the next showing plays.
    void videoWithoutAPicture_data()
    {
        QTest::addColumn<QString>("file");
        QTest::addColumn<QString>("helper"); // VELMORA_MEDIA_HELPER for this row; empty: the real one
        QTest::addColumn<int>("signal"); // sent to the helper once it shows a frame; 0: none
        const QString video = QStringLiteral("test-video.mp4");
        QTest::newRow("missing file") << QStringLiteral("missing.mp4") << QString() << 0;
        QTest::newRow("not a video") << QStringLiteral("not-a-video.mp4") << QString() << 0;
        QTest::newRow("helper missing") << video << QStringLiteral("/nonexistent/velmora-media") << 0;
        QTest::newRow("helper talks garbage") << video << fakeHelper("printf 'ready\\nfr@me\\x01\\n'") << 0;
        QTest::newRow("frame larger than its slot")
            << video << fakeHelper("printf 'ready\\nframe 0 1920 1080 99999999\\n'") << 0;
        QTest::newRow("frame in no slot") << video << fakeHelper("printf 'ready\\nframe 7 8 8 32\\n'") << 0;
        QTest::newRow("helper killed") << video << QString() << int(SIGKILL);
        QTest::newRow("helper stopped") << video << QString() << int(SIGSTOP);
    }

    void videoWithoutAPicture()
    {
        QFETCH(QString, file);
        QFETCH(QString, helper);
        QFETCH(int, signal);
        const QByteArray real = qgetenv("VELMORA_MEDIA_HELPER");
        if (!helper.isEmpty())
            qputenv("VELMORA_MEDIA_HELPER", helper.toLocal8Bit());
        SplashScreenController &controller = attach();
        controller.setVideoUrl(TestEnvironment::mediaUrl(file));
        runSteps(controller, { "start", "video" });
        qputenv("VELMORA_MEDIA_HELPER", real);

        qint64 pid = 0;
        if (signal != 0) {
            QTRY_VERIFY_WITH_TIMEOUT(controller.playerlayer()->hasFrame(), 10000);
            pid = controller.playback()->process()->processId();
            QVERIFY(pid > 0);
            ::kill(pid_t(pid), signal);
        }
        if (signal != SIGSTOP)
            QTRY_COMPARE_WITH_TIMEOUT(controller.playback()->state(), VideoPlayback::State::Failed, 10000);
        if (signal == 0) {
            QVERIFY(!controller.playerlayer()->hasFrame());
            QTest::qWait(300);
            QCOMPARE(m_output.calls, QStringList {});
        }
        // The presenter's close-button step still works and teardown is safe; a stopped
        // helper is let go and killed, it never comes back; the next showing gets a fresh,
        // working helper.
        runSteps(controller, { "end", "hide" });
        QVERIFY(!controller.closeButton()->isHidden());
        QVERIFY(controller.view()->isHidden());
        if (pid > 0)
            QTRY_VERIFY_WITH_TIMEOUT(!test::processStat(pid) || test::processStat(pid)->state == 'Z', 10000);
        controller.setVideoUrl(TestEnvironment::mediaUrl(QStringLiteral("test-video-short.mp4")));
        runSteps(controller, { "start", "video" });
        QTRY_VERIFY_WITH_TIMEOUT(controller.playerlayer()->hasFrame(), 10000);
    }

    // On a screen of pixel ratio 2 (ctest runs this once more with QT_SCALE_FACTOR=2) the
    // close and sound buttons draw their 2x pictures: their glyph edges take a clearly
    // smaller share of the button than those of the same button given only the 1x picture,
    // which the screen can only blow up.
    void glyphsAreSharpAtPixelRatioTwo()
    {
        if (qApp->devicePixelRatio() < 2)
            QSKIP("needs a screen of pixel ratio 2 (QT_SCALE_FACTOR=2)");
        SplashScreenController &controller = attach();
        runSteps(controller, { "start", "video" }); // laid out at their own size
        for (QAbstractButton *button : { controller.closeButton(), controller.soundButton() }) {
            const QIcon shipped = button->icon();
            const double sharp = edgeShare(button);
            button->setIcon(QIcon(shipped.pixmap(shipped.actualSize(button->size()), 1.0)));
            const double blownUp = edgeShare(button);
            button->setIcon(shipped);
            QVERIFY2(sharp <= 0.75 * blownUp,
                     qPrintable(QStringLiteral("%1: edge share %2, 1x picture %3")
                                    .arg(button->objectName())
                                    .arg(sharp)
                                    .arg(blownUp)));
        }
    }

    void screenshots_data()
    {
        QTest::addColumn<QSize>("size");
        QTest::addColumn<bool>("icon");
        QTest::newRow("1024x768") << QSize(1024, 768) << true;
        QTest::newRow("640x480") << QSize(640, 480) << true;
        QTest::newRow("480x320") << QSize(480, 320) << true;
        QTest::newRow("320x240") << QSize(320, 240) << true;
        QTest::newRow("640x480, no icon") << QSize(640, 480) << false;
    }

    // Writes the three screens as PNG files into the build folder and checks that nothing
    // is cut off, nothing overlaps and no empty box shows at that size.
    void screenshots()
    {
        QFETCH(QSize, size);
        QFETCH(bool, icon);
        const QString folder = TestEnvironment::binaryPath(QStringLiteral("screenshots"));
        QVERIFY(QDir().mkpath(folder));
        const QString suffix = QStringLiteral("-%1x%2%3%4.png")
                                   .arg(size.width())
                                   .arg(size.height())
                                   .arg((icon ? QString() : QStringLiteral("-noicon"))
                                        + (QLocale::system().language() == QLocale::C
                                               ? QString()
                                               : QLatin1Char('-') + QLocale::system().bcp47Name()))
                                   .arg(qApp->devicePixelRatio() > 1 ? QStringLiteral("@2x") : QString());

        SplashScreenController &controller = attach(nullptr, size);
        if (icon)
            controller.setIcon(sampleIcon());
        controller.setTimerText(QStringLiteral("7"));
        controller.setVideoTimerText(QStringLiteral("4"));
        controller.setVideoUrl(TestEnvironment::mediaUrl(QStringLiteral("test-video.mp4")));
        controller.setInterstitialUrl(TestEnvironment::mediaUrl(QStringLiteral("still.jpg")));
        ColoredView *view = controller.view();

        runSteps(controller, { "start" });
        controller.startTimerViewFromSec(3, 10);
        QCOMPARE(clippedElements(view), QStringList {});
        QCOMPARE(overlappingElements(view, { "iconImageView", "lablesView", "removeAdsButton" }), QStringList {});
        QCOMPARE(emptyPictures(view), QStringList {});
        QCOMPARE(undrawableTexts(view), QStringList {});
        QVERIFY(view->grab().save(folder + QStringLiteral("/controller-start") + suffix));

        // The picture is a plain widget: the grab holds the video's frame.
        runSteps(controller, { "video" });
        controller.startVideoTimerViewFromSec(2, 5);
        QTRY_VERIFY_WITH_TIMEOUT(controller.playerlayer()->hasFrame(), 10000);
        controller.pauseShowVideo();
        QCOMPARE(clippedElements(view), QStringList {});
        const QPixmap shot = view->grab();
        const QImage picture = shot.toImage();
        const QRect fitted = VideoFrameView::fittedRect(controller.playerlayer()->size(), controller.videoRect());
        int framePixels = 0;
        for (const QPoint &at : { fitted.center(), fitted.topLeft() + QPoint(fitted.width() / 4, fitted.height() / 4),
                                  fitted.bottomRight() - QPoint(fitted.width() / 4, fitted.height() / 4) })
            framePixels += picture.pixelColor(at) != controller.view()->color() ? 1 : 0;
        QVERIFY2(framePixels > 0, "no video frame in the grab");
        QVERIFY(shot.save(folder + QStringLiteral("/controller-video") + suffix));

        runSteps(controller, { "ended", "end" });
        QCOMPARE(clippedElements(view), QStringList {});
        QCOMPARE(overlappingElements(view, { "closeButton", "interstitialImage" }), QStringList {});
        QVERIFY(view->grab().save(folder + QStringLiteral("/controller-end") + suffix));

        controller.setInterstitialUrl(QUrl());
        runSteps(controller, { "end" });
        QVERIFY(view->grab().save(folder + QStringLiteral("/controller-end-plain") + suffix));
    }
};

VELMORA_TEST_MAIN(SplashScreenControllerTest)
#include "tst_controller.moc"
