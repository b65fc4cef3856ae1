#include "acqparams.h"

#include <ovcore.h>

namespace PluginDevControl {

void AcqParams::load(ov::ISettings* settings)
{
    if (!settings)
        return;
    const char* s = kAcqSection;
    acqType = settings->getInt(s, "Type", acqType);
    acqCount = settings->getInt(s, "Count", acqCount);
    acqTime = settings->getDouble(s, "Time", acqTime);
    acqMode = settings->getInt(s, "Mode", acqMode);
    ov::String name;
    settings->getString(s, "FileName", outputFile.c_str(), &name);
    outputFile = name.str();
    fileOutput = settings->getBool(s, "FileOutputEnabled", fileOutput);
    fileType = settings->getInt(s, "FileType", fileType);
    fileFlags
        = static_cast<unsigned>(settings->getInt(s, "OutputFlags", static_cast<int>(fileFlags)));
    repeatEnabled = settings->getBool(s, "Repeat", repeatEnabled);
    repeatCount = settings->getInt(s, "RepeatCount", repeatCount);
    repeatDelay = settings->getDouble(s, "RepeatDelay", repeatDelay);
    repeatFileFlags = static_cast<unsigned>(
        settings->getInt(s, "RepeatFlags", static_cast<int>(repeatFileFlags)));
    repeatFileDigits = settings->getInt(s, "RepeatDigits", repeatFileDigits);
    spacing = settings->getInt(s, "Spacing", spacing);
    tpSpacing = settings->getInt(s, "TpSpacing", tpSpacing);
    refreshDacs = settings->getBool(s, "RefreshDacs", refreshDacs);
    refreshPixCfg = settings->getBool(s, "RefreshPixCfg", refreshPixCfg);
}

void AcqParams::save(ov::ISettings* settings) const
{
    if (!settings)
        return;
    const char* s = kAcqSection;
    settings->setInt(s, "Type", acqType);
    settings->setInt(s, "Count", acqCount);
    settings->setDouble(s, "Time", acqTime);
    settings->setString(s, "FileName", outputFile.c_str());
    settings->setBool(s, "FileOutputEnabled", fileOutput);
    settings->setInt(s, "FileType", fileType);
    settings->setInt(s, "Mode", acqMode);
    settings->setInt(s, "OutputFlags", static_cast<int>(fileFlags));
    settings->setBool(s, "RefreshDacs", refreshDacs);
    settings->setBool(s, "RefreshPixCfg", refreshPixCfg);
    settings->setBool(s, "Repeat", repeatEnabled);
    settings->setInt(s, "RepeatCount", repeatCount);
    settings->setDouble(s, "RepeatDelay", repeatDelay);
    settings->setInt(s, "RepeatDigits", repeatFileDigits);
    settings->setInt(s, "RepeatFlags", static_cast<int>(repeatFileFlags));
    settings->setInt(s, "Spacing", spacing);
    settings->setInt(s, "TpSpacing", tpSpacing);
}

void AcqParamsTpx3::load(ov::ISettings* settings)
{
    if (settings)
        timeDataDriven = settings->getDouble(kAcqSection, "TimeDataDriven", timeDataDriven);
}

void AcqParamsTpx3::save(ov::ISettings* settings) const
{
    if (settings)
        settings->setDouble(kAcqSection, "TimeDataDriven", timeDataDriven);
}

} // namespace PluginDevControl
