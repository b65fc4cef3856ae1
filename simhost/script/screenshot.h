// Pictures of the application's windows.
#pragma once

#include <QImage>
#include <QString>

namespace sim {

// Every visible top-level window (tool tips and pop-ups left out) side by side, left to
// right in creation order; a null image when no window is visible.
QImage grabVisibleWindows();

// Saves grabVisibleWindows() as a PNG. On success absolutePath receives the file's
// absolute path; on failure error says why (no visible window, cannot write).
bool saveScreenshot(const QString& file, QString* absolutePath, QString* error);

} // namespace sim
