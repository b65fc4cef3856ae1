#include "qplotobject.h"

QPlotObject::~QPlotObject() = default;
