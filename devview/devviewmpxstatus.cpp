// The status bar of a detector page: counters, time, LEDs, warning and error icons and
// the progress bar, driven by the controller's signals, a 100 ms timer and the log.
#include "devctrlmpx.h"
#include "devviewmpx.h"
#include "devviewmpxui.h"
#include "msgpanel.h"
#include "qclickablelabel.h"
#include "qfancyprogressbar.h"
#include "qfancystatusbar.h"
#include "qvline.h"
#include "timetostr.h"

#include <QLabel>
#include <QSpinBox>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cmath>

namespace PluginDevControl {

namespace {

// Seconds of the system clock, to the microsecond.
double now()
{
    using namespace std::chrono;
    return static_cast<double>(
               duration_cast<microseconds>(system_clock::now().time_since_epoch()).count())
        / 1e6;
}

constexpr int kAbortedByUser = -1007;

} // namespace

void DevViewMpx::setupStatusBar()
{
    QFancyStatusBar* bar = ui->statusbar;
    auto addSeparated = [bar](QWidget* widget) {
        auto* line = new QVLine(bar);
        line->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
        bar->addPermanentWidget(line);
        bar->addPermanentWidget(widget);
    };
    auto makeLabel = [bar](const char* name, const char* text) {
        auto* label = new QLabel(text, bar);
        label->setObjectName(name);
        label->setStyleSheet("color: white;");
        return label;
    };
    fpsLabel = makeLabel("fpsLabel", "FPS: 0");
    timeLabel = makeLabel("timeLabel", "T: 0:00:00.0");
    repeatLabel = makeLabel("repeatLabel", "R: 0/0");
    acqLabel = makeLabel("acqLabel", "A: 0/0");
    for (QLabel* label : {fpsLabel, timeLabel, repeatLabel, acqLabel})
        addSeparated(label);

    auto makeLed = [bar](const char* name, const char* image) {
        auto* led = new QLabel(bar);
        led->setObjectName(name);
        led->setPixmap(QPixmap(image));
        return led;
    };
    ledGreen = makeLed("ledGreen", ":/devcontrol/images/ledgreen");
    ledYellow = makeLed("ledYellow", ":/devcontrol/images/ledyellow");
    ledRed = makeLed("ledRed", ":/devcontrol/images/ledred");
    auto* line = new QVLine(bar);
    line->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
    bar->addPermanentWidget(line);
    for (QLabel* led : {ledGreen, ledYellow, ledRed})
        bar->addPermanentWidget(led);
    ledYellow->hide();
    ledRed->hide();

    warningIcon = new QClickableLabel(bar);
    warningIcon->setObjectName("warningIcon");
    warningIcon->setPixmap(QPixmap(":/devcontrol/images/warning"));
    warningIcon->hide();
    errorIcon = new QClickableLabel(bar);
    errorIcon->setObjectName("errorIcon");
    errorIcon->setPixmap(QPixmap(":/devcontrol/images/error"));
    errorIcon->hide();
    bar->addPermanentWidget(warningIcon);
    bar->addPermanentWidget(errorIcon);
    connect(warningIcon, &QClickableLabel::clicked, this, &DevViewMpx::onHideWarningIcon);
    connect(errorIcon, &QClickableLabel::clicked, this, &DevViewMpx::onHideErrorIcon);

    progressBar = new QFancyProgressBar(bar);
    progressBar->setObjectName("progressBar");
    addSeparated(progressBar);
}

QLabel* DevViewMpx::statusLabel(int index) const
{
    switch (index) {
    case 0:
        return fpsLabel;
    case 1:
        return timeLabel;
    case 2:
        return repeatLabel;
    case 3:
        return acqLabel;
    default:
        return nullptr;
    }
}

QLabel* DevViewMpx::statusLed(StatusType type) const
{
    switch (type) {
    case StatusOk:
        return ledGreen;
    case StatusWarning:
        return ledYellow;
    case StatusError:
        return ledRed;
    }
    return nullptr;
}

void DevViewMpx::setProgressAcq(int done)
{
    acqLabel->setText(QString("A: %1/%2").arg(done).arg(ctrl ? ctrl->acqCount() : 0));
}

void DevViewMpx::setProgressRepeat(int done)
{
    repeatLabel->setText(QString("R: %1/%2").arg(done).arg(ctrl ? ctrl->repeatCount() : 0));
}

void DevViewMpx::showStatusLed(StatusType type, QString text)
{
    for (QLabel* led : {ledGreen, ledYellow, ledRed})
        led->hide();
    if (type == StatusOk && text.isEmpty())
        text = "Device ready";
    if (QLabel* led = statusLed(type)) {
        led->setToolTip(text);
        led->show();
    }
}

void DevViewMpx::showWarningIcon(bool show, QString text)
{
    warningIcon->setToolTip(text);
    warningIcon->setVisible(show);
}

void DevViewMpx::showErrorIcon(bool show, QString text)
{
    errorIcon->setToolTip(text);
    errorIcon->setVisible(show);
}

void DevViewMpx::onHideWarningIcon()
{
    warningIcon->hide();
    showStatusLed(StatusOk, QString());
}

void DevViewMpx::onHideErrorIcon()
{
    errorIcon->hide();
}

void DevViewMpx::onStartAcq()
{
    enableGui(false, true);
    measurementStart = repeatStart = lastFrameTime = lastProgressUpdate = now();
    framesDone = 0;
    setProgressAcq(0);
    setProgressRepeat(0);
    progressBar->setValue(0);
    progressBar->setError(false);
    frameSpinBox->setEnabled(false);
    ui->acNextFrame->setEnabled(false);
    ui->acPrevFrame->setEnabled(false);
    running = true;
    progressTimer->start(100);
    // A failure of the last run is not this run's: the LED shows the device again
    // (and the icons are hidden after that, as at every start).
    lastRunError.clear();
    getDeviceStatus();
    showWarningIcon(false, QString());
    showErrorIcon(false, QString());
}

void DevViewMpx::onStopAcq()
{
    enableGui(true, false);
    running = false;
    progressTimer->stop();
}

void DevViewMpx::onAcqAllFinished(int result)
{
    const bool failed = result != 0 && result != kAbortedByUser;
    progressBar->setError(failed);
    progressBar->update();
    if (ctrl) {
        // Progress updates are limited and a stopped run ends between them: the counters
        // and the frame navigator end on what the measurement left in the store.
        setProgressAcq(ctrl->curAcq());
        setProgressRepeat(ctrl->curRepeat());
        onFrameCountChanged(ctrl->acqFrameCount());
    }
    if (failed)
        reportFailedMeasurement(result);
    onStopAcq();
}

void DevViewMpx::reportFailedMeasurement(int result)
{
    // The host says why in its log before it returns; its last error line of the run is
    // the reason, the code is all there is otherwise.
    const QString text = lastRunError.isEmpty()
        ? QString("Measurement failed with code %1.").arg(result)
        : QString("Measurement failed (code %1): %2").arg(result).arg(lastRunError);
    onLogEvent(StatusError, text);
    showStatusLed(StatusError, text);
}

void DevViewMpx::onAcqRepeatStarted()
{
    if (!running)
        return;
    framesDone = 0;
    repeatStart = now();
    setProgressAcq(0);
    setProgressRepeat(ctrl ? ctrl->curRepeat() : 0);
}

void DevViewMpx::onAcqRepeatFinished()
{
    if (running)
        setProgressRepeat(ctrl ? ctrl->curRepeat() : 0);
}

void DevViewMpx::onAcqProgress(double percent, unsigned int frames)
{
    if (!running)
        return;
    framesDone = frames;
    lastFrameTime = now();
    const bool last = ctrl && static_cast<int>(frames) == ctrl->acqCount();
    if (lastFrameTime - lastProgressUpdate <= 0.1 && !last)
        return;
    setProgressAcq(static_cast<int>(frames));
    progressBar->setValue(static_cast<int>(std::trunc(percent)));
    lastProgressUpdate = lastFrameTime;
}

void DevViewMpx::onTimeProgress()
{
    if (!progressTimer->isActive())
        return;
    const double t = now();
    const double repeatElapsed = t - repeatStart;
    const double total = t - measurementStart;
    if (repeatElapsed > 0 && ctrl)
        fpsLabel->setText(QString("FPS: %1").arg(ctrl->curAcq() / repeatElapsed, 0, 'f', 1));
    timeLabel->setText("T: " + timeToStr(total));
    updateProgressBar(t);
}

double DevViewMpx::currentTime()
{
    return now();
}

void DevViewMpx::updateProgressBar(double t)
{
    if (!ctrl)
        return;
    const double frameFraction = std::min(1.0, (t - lastFrameTime) / ctrl->acqTime());
    const double count = ctrl->acqCount();
    progressBar->setValue(
        static_cast<int>(std::trunc((framesDone + frameFraction) * (1.0 / count) * 100.0)));
}

void DevViewMpx::onDeviceStatusChanged(int status, QString text)
{
    switch (status) {
    case 0:
        showWarningIcon(false, QString());
        showErrorIcon(false, QString());
        showStatusLed(StatusOk, text);
        break;
    case 1:
        showStatusLed(StatusWarning, text);
        break;
    case 2:
    case 101:
        showStatusLed(StatusError, text);
        break;
    case 100:
        showWarningIcon(true, text);
        showStatusLed(StatusWarning, text);
        break;
    default:
        break;
    }
}

void DevViewMpx::getDeviceStatus()
{
    if (!dev)
        return;
    ov::String text;
    dev->statusText(text);
    onDeviceStatusChanged(dev->status(), QString::fromUtf8(text.get()));
}

void DevViewMpx::onLogEvent(int level, QString text)
{
    if (!msgPanel)
        return;
    if (running && level == StatusError)
        lastRunError = text;
    msgPanel->logMsg(level, text);
    QFancyStatusBar* bar = ui->statusbar;
    if (msgPanel->openOnMessage())
        bar->openWidget(0);
    if (!bar->buttons.isEmpty() && !bar->buttons[0]->isChecked())
        bar->setButtonBadgeNumber(0, bar->buttons[0]->getIconBadgeNumber() + 1);
}

} // namespace PluginDevControl
