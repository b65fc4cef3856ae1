// The whole host contract in one include.
#pragma once

#include "ovcore.h"
#include "ovdetector.h"
#include "ovinstruments.h"
#include "ovplugin.h"
#include "ovvalues.h"
