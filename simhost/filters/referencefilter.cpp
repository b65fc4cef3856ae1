#include "referencefilter.h"

namespace sim {

ReferenceFilter::ReferenceFilter(std::string name, QString what, const std::string& fileDescription)
    : FrameFilter(std::move(name)), m_what(std::move(what))
{
    m_file = &params().add("File", fileDescription, ov::ParamString);
    m_file->setCheck([this](const SimParam&, const ParamValue& next) {
        if (next.s.empty())
            return 0;
        QString why;
        std::shared_ptr<const ReferenceFrame> frame = readReferenceFrame(next.s, &why);
        if (!frame)
            return refuse(why);
        if (!usable(*frame, &why))
            return refuse(why);
        std::lock_guard<std::mutex> lock(mutex());
        m_checked = std::move(frame);
        return 0;
    });
    m_file->setChanged([this](const SimParam& param) {
        take(param);
        paramChanged(param);
    });
}

void ReferenceFilter::take(const SimParam& param)
{
    const std::string path = param.asText();
    std::shared_ptr<const ReferenceFrame> frame;
    {
        std::lock_guard<std::mutex> lock(mutex());
        if (m_checked && m_checked->path == path)
            frame = m_checked;
        m_checked.reset();
    }
    QString why;
    // Another writer came between this write's check and its hook: read it again.
    if (!frame && !path.empty()) {
        frame = readReferenceFrame(path, &why);
        if (frame && !usable(*frame, &why))
            frame.reset();
        if (!frame)
            log(ov::LogWarning, why);
    }
    std::lock_guard<std::mutex> lock(mutex());
    m_reference = std::move(frame);
}

bool ReferenceFilter::usable(const ReferenceFrame&, QString*) const
{
    return true;
}

std::shared_ptr<const ReferenceFrame> ReferenceFilter::reference() const
{
    std::lock_guard<std::mutex> lock(mutex());
    return m_reference;
}

std::shared_ptr<const ReferenceFrame> ReferenceFilter::referenceFor(
    unsigned width, unsigned height, QString* why) const
{
    std::shared_ptr<const ReferenceFrame> frame = reference();
    if (!frame) {
        if (why)
            *why = QStringLiteral("no %1 frame: set its frame file (parameter File)").arg(m_what);
        return nullptr;
    }
    if (frame->width != width || frame->height != height) {
        if (why)
            *why = QStringLiteral("the %1 frame %2 is %3 x %4 pixels, the frame %5 x %6")
                       .arg(m_what, QString::fromStdString(frame->path))
                       .arg(frame->width)
                       .arg(frame->height)
                       .arg(width)
                       .arg(height);
        return nullptr;
    }
    return frame;
}

bool ReferenceFilter::acceptsSize(unsigned width, unsigned height, QString* why) const
{
    return referenceFor(width, height, why) != nullptr;
}

} // namespace sim
