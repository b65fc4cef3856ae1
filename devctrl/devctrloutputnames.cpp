// The controller's side of the output naming rules: the host's data manager says which
// file types take all frames of a measurement, the shared rules do the rest.
#include "devctrlmpx.h"

#include "outputfilename.h"

#include <ovvalues.h>

namespace PluginDevControl {

namespace {

class DataMgrFileTypes final : public OutputFileTypes
{
public:
    explicit DataMgrFileTypes(ov::IDataMgr* manager) : mgr(manager) { }

    int multiFrameByName(const std::string& path) const override
    {
        if (!mgr)
            return -1;
        ov::FilePath file(path.c_str());
        const ov::IFileType* type = mgr->fileTypeFromFileName(&file);
        return type ? int(type->isMultiFrame()) : -1;
    }
    int multiFrameById(int code) const override
    {
        const ov::IFileType* type = mgr ? mgr->fileTypeById(code) : nullptr;
        return type ? int(type->isMultiFrame()) : -1;
    }
    int typeIdFromName(const std::string& path) const override
    {
        if (!mgr)
            return -1;
        ov::FilePath file(path.c_str());
        return mgr->fileTypeIdFromFileName(&file);
    }

private:
    ov::IDataMgr* mgr;
};

} // namespace

QString DevCtrlMpx::getFirstOutputFileName()
{
    const AcqParams& p = m_acqParams;
    OutputNamingParams naming;
    naming.outputFile = p.outputFile;
    naming.fileType = p.fileType;
    naming.acqType = p.acqType;
    naming.acqCount = p.acqCount;
    naming.repeatEnabled = p.repeatEnabled;
    naming.repeatCount = p.repeatCount;
    naming.repeatFileFlags = p.repeatFileFlags;
    naming.repeatFileDigits = p.repeatFileDigits;
    const DataMgrFileTypes types(m_orvel ? m_orvel->dataMgr() : nullptr);
    return QString::fromStdString(::getFirstOutputFileName(naming, &types));
}

} // namespace PluginDevControl
