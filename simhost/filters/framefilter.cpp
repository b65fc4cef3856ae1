#include "framefilter.h"

#include "resultframe.h"
#include "simframe.h"

#include <QStringList>

namespace sim {

namespace {

// The message of the last check that refused a write on this thread, for the refusal
// hook that follows it on the same thread.
thread_local QString t_checkMessage;
// Where writeParam collects the refusal of its own write, on its own thread.
thread_local QString* t_refusal = nullptr;

} // namespace

FrameFilter::FrameFilter(std::string name) : m_name(std::move(name))
{
    m_params.setRefused([this](const SimParam& param, int code, const std::string& value) {
        paramRefused(param, code, value);
    });
}

FrameFilter::~FrameFilter() = default;

void FrameFilter::setLog(LogFn log)
{
    m_log = std::move(log);
}

void FrameFilter::setParamWritten(ParamWritten written)
{
    m_written = std::move(written);
}

void FrameFilter::log(unsigned level, const QString& text) const
{
    if (m_log)
        m_log(level, QString::fromStdString(m_name) + QStringLiteral(": ") + text);
}

int FrameFilter::refuse(const QString& message)
{
    t_checkMessage = message;
    return -1;
}

void FrameFilter::paramRefused(const SimParam& param, int code, const std::string& value)
{
    QString reason;
    if (code == ParamErrRefused && !t_checkMessage.isEmpty())
        reason = t_checkMessage;
    else
        reason = QStringLiteral("%1 refused: %2")
                     .arg(QString::fromStdString(value),
                         QString::fromStdString(param.refusalText(code)));
    t_checkMessage.clear();
    const QString text
        = QStringLiteral("parameter %1: %2").arg(QString::fromUtf8(param.name()), reason);
    log(ov::LogWarning, text);
    if (t_refusal)
        *t_refusal = text;
}

void FrameFilter::paramChanged(const SimParam& param)
{
    m_unsuitable.clear();
    if (m_written)
        m_written(*this, param);
}

int FrameFilter::writeParam(const std::string& param, const std::string& value, QString* why)
{
    SimParam* p = m_params.find(param);
    if (!p) {
        QStringList names;
        for (ov::IParam* each : m_params.params())
            names << QString::fromUtf8(each->name());
        if (why)
            *why = QStringLiteral("filter \"%1\" has no parameter \"%2\" (it has: %3)")
                       .arg(QString::fromStdString(m_name), QString::fromStdString(param),
                           names.isEmpty() ? QStringLiteral("none")
                                           : names.join(QStringLiteral(", ")));
        return kNoSuchParam;
    }
    QString refusal;
    t_refusal = &refusal;
    const int rc = p->setStringValue(value.c_str());
    t_refusal = nullptr;
    if (rc < 0 && why)
        *why = QString::fromStdString(m_name) + QStringLiteral(": ") + refusal;
    return rc;
}

bool FrameFilter::acceptsSize(unsigned width, unsigned height, QString* why) const
{
    if (width > 0 && height > 0)
        return true;
    if (why)
        *why = QStringLiteral("the frame is empty");
    return false;
}

void FrameFilter::resultSize(unsigned*, unsigned*) const { }

int FrameFilter::filterName(ov::String& out)
{
    out.set(m_name.c_str());
    return 0;
}

void FrameFilter::noteUnsuitable(const QString& why)
{
    if (m_unsuitable.take(why))
        log(ov::LogWarning, QStringLiteral("not applied: %1").arg(why));
}

bool FrameFilter::isSuitable(ov::IMpxFrame* frame)
{
    if (!frame)
        return false;
    const auto* f = dynamic_cast<const SimFrame*>(frame);
    QString why;
    if (!f)
        why = QStringLiteral("the frame was not made by this host");
    else if (acceptsSize(f->width(), f->height(), &why)) {
        m_unsuitable.clear();
        return true;
    }
    noteUnsuitable(why);
    return false;
}

ov::IMpxFrame* FrameFilter::filterFrame(ov::IMpxFrame* frame, unsigned)
{
    if (!frame)
        return nullptr;
    const auto* f = dynamic_cast<const SimFrame*>(frame);
    if (!f) {
        noteUnsuitable(QStringLiteral("the frame was not made by this host"));
        return nullptr;
    }
    return apply(*f);
}

SimFrame* FrameFilter::apply(const SimFrame& frame)
{
    QString why;
    if (!acceptsSize(frame.width(), frame.height(), &why)) {
        noteUnsuitable(why);
        return nullptr;
    }
    unsigned width = frame.width();
    unsigned height = frame.height();
    resultSize(&width, &height);
    SimFrame* out = newResultFrame(frame, width, height, resultType(frame.dataType()));
    if (!out) {
        noteUnsuitable(QStringLiteral("no result frame of %1 x %2 pixels").arg(width).arg(height));
        return nullptr;
    }
    if (!compute(frame, *out, &why)) {
        out->decRef();
        noteUnsuitable(why);
        return nullptr;
    }
    m_unsuitable.clear();
    return out;
}

} // namespace sim
