#include "outputwriter.h"

#include "simfiletypes.h"
#include "simframe.h"

#include <climits>

namespace sim {

namespace {

QString qs(const std::string& text)
{
    return QString::fromUtf8(text.c_str());
}

int toInt(uint32_t value)
{
    return value > uint32_t(INT_MAX) ? INT_MAX : int(value);
}

} // namespace

OutputWriter::OutputWriter(const AcqRecord& acq, const RepeatRecord* repeat, LogFn log)
    : m_log(std::move(log))
{
    if (acq.outputFile.empty())
        return;
    OutputNamingParams p;
    p.outputFile = acq.outputFile;
    p.fileType = int(acq.fileType);
    p.acqType = acq.integral ? (acq.testPulses ? 4 : 1) : (acq.testPulses ? 2 : 0);
    p.acqCount = toInt(acq.count);
    p.repeatEnabled = repeat != nullptr;
    if (repeat) {
        // The record says 0xFFFFFFFF for an endless series, the settings say 0.
        p.repeatCount = repeat->count == kEndlessRepeats ? 0 : toInt(repeat->count);
        p.repeatFileFlags = repeat->fileFlags;
        p.repeatFileDigits = toInt(repeat->fileDigits);
    }
    m_type = p.fileType == OutputTypeFromName ? fileTypeFromPath(p.outputFile) : p.fileType;
    m_flags = acq.fileFlags;
    const QString name = qs(p.outputFile);
    if (m_type == FileTypePicture) {
        m_refused = true;
        if (m_log)
            m_log(ov::LogError,
                QStringLiteral("Output file %1: pictures are drawn by the user interface; "
                               "measurement output needs a data file type (txt, bin, mfd)")
                    .arg(name));
        return;
    }
    if (!fileFormOf(m_type, m_flags, nullptr)) {
        m_refused = true;
        if (m_log)
            m_log(ov::LogError,
                QStringLiteral("Output file %1: the host has no file type %2 to write "
                               "(known extensions: txt, bin, mfd)")
                    .arg(name)
                    .arg(m_type));
        return;
    }
    m_options = fileOptionsOf(m_type);
    HostOutputFileTypes types;
    m_plan = getOutputNamePlan(p, &types);
    m_active = true;
}

void OutputWriter::failed(const std::string& error)
{
    if (m_failures++ == 0 && m_log)
        m_log(ov::LogError, QStringLiteral("Output file not written: %1").arg(qs(error)));
}

void OutputWriter::write(int round, int acqIndex, const SimFrame& frame)
{
    if (!m_active)
        return;
    const std::string name = outputFileName(m_plan, round, acqIndex);
    if (m_first.empty())
        m_first = name;
    FrameView view;
    view.dataType = frame.dataType();
    view.width = frame.width();
    view.height = frame.height();
    view.acqTime = frame.acqTime();
    view.name = frame.name();
    view.pixels = frame.rawData();
    std::string error;
    if (m_type == FileTypeMultiFrame) {
        if (!m_current.isOpen() || m_current.path() != name) {
            if (m_current.create(name, m_type, m_flags, &error, m_options) != 0) {
                failed(error);
                return;
            }
        }
        if (m_current.append(view, &error) != 0) {
            failed(error);
            return;
        }
    } else if (writeFrameFile(name, m_type, m_flags, {view}, &error, m_options) != 0) {
        failed(error);
        return;
    }
    ++m_frames;
}

void OutputWriter::finish()
{
    if (!m_active || !m_log)
        return;
    if (m_frames > 0)
        m_log(ov::LogInfo,
            QStringLiteral("Output: %1 frame(s) written, the first to %2")
                .arg(m_frames)
                .arg(qs(m_first)));
    if (m_failures > 0)
        m_log(ov::LogError,
            QStringLiteral("Output: %1 frame(s) could not be written").arg(m_failures));
}

} // namespace sim
