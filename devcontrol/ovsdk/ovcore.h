// Core host interfaces: the host itself, its settings, menus, devices, data manager,
// file types and filters. Every operation returns 0 on success or a negative code,
// unless its result is a value.
#pragma once

#include "ovvalues.h"

#include <cstdint>
#include <string>
#include <vector>

namespace ov {

class IDev;
class IDevMpx;
class IMpxFrame;
class IData;
class IParamMgr;
class IMenuItem;
class IFileType;
class IDataFilter;

// Event callback: eventData depends on the event, userData is the pointer given at
// registration.
using EventCallback = void (*)(long eventData, long userData);
// Log callback: level (see LogLevel), text, the pointer given at registration.
using LogCallback = void (*)(unsigned level, const char* text, long userData);
// Function run by the host on its GUI thread.
using UiThreadFunc = void (*)(unsigned long arg);

// Level 2 is the one the plug-in shows in red.
enum LogLevel : unsigned {
    LogInfo = 0,
    LogWarning = 1,
    LogError = 2,
    LogDebug = 3,
};

// IDev::deviceType(): the kind of a device.
enum DevKind : int {
    DevKindMpx2 = 1, // Medipix2 and Timepix
    DevKindMpx3 = 2,
    DevKindTpx3 = 3,
    DevKindTpx2 = 4,
    DevKindFile = 10,
    DevKindMotor = 11,
    DevKindXray = 12,
    DevKindHvSource = 14,
};

// The 24-byte device information record filled by IDev::deviceInfo.
struct DevInfo
{
    char ifaceName[8];   // byte 0: interface word of the device name ("kalbar"), NUL-padded
    uint32_t kind;       // byte 8: 22 = education device, 4 = no "t3r" file type
    uint32_t reserved12; // byte 12
    uint32_t serial;     // byte 16
    uint32_t reserved20; // byte 20
};
static_assert(sizeof(DevInfo) == 24, "DevInfo is a 24-byte record");
static_assert(offsetof(DevInfo, kind) == 8, "kind at byte 8");
static_assert(offsetof(DevInfo, serial) == 16, "serial at byte 16");

class IRefCounted
{
public:
    virtual int incRef() = 0;
    virtual int decRef() = 0;

protected:
    ~IRefCounted() = default;
};

class ISettings
{
public:
    virtual int load() = 0;
    virtual int save() = 0;
    virtual int setString(const char* section, const char* key, const char* value) = 0;
    virtual int setInt(const char* section, const char* key, int value) = 0;
    virtual int setDouble(const char* section, const char* key, double value) = 0;
    virtual int setBool(const char* section, const char* key, bool value) = 0;
    virtual int getString(const char* section, const char* key, const char* def, IString* out) = 0;
    virtual int getInt(const char* section, const char* key, int def) = 0;
    virtual double getDouble(const char* section, const char* key, double def) = 0;
    virtual bool getBool(const char* section, const char* key, bool def) = 0;
    virtual void release() = 0;

protected:
    ~ISettings() = default;
};

class ICoreSettings
{
public:
    virtual bool getBool(const char* key) = 0;
    virtual int getString(const char* key, IString* out) = 0;

protected:
    ~ICoreSettings() = default;
};

class IMenuItem
{
public:
    virtual bool isSubMenu() const = 0;
    virtual bool isSeparator() const = 0;
    virtual const char* title() const = 0;
    virtual const char* owner() const = 0;
    virtual void children(PtrList<const IMenuItem*>& out) const = 0;
    virtual void execute() const = 0;

protected:
    ~IMenuItem() = default;
};

class IUiHooks
{
public:
    virtual const IMenuItem* menuRoot() = 0;
    virtual int runOnUiThread(UiThreadFunc fn, void* arg, int flag = 1) = 0;
    virtual int registerMenuChanged(EventCallback cb, void* user) = 0;

protected:
    ~IUiHooks() = default;
};

// Value types reported by IParam::type(). Every parameter answers every typed getter
// (converted from its own type) and takes every typed setter (converted to its own
// type, within its range); type() says which one holds the value exactly.
enum ParamType : int {
    ParamI8 = 0,
    ParamU8 = 1,
    ParamI16 = 2,
    ParamU16 = 3,
    ParamI32 = 4,
    ParamU32 = 5,
    ParamI64 = 6,
    ParamU64 = 7,
    ParamFloat = 8,
    ParamDouble = 9,
    ParamBool = 10,
    ParamString = 11,
};

// Bits of IParam::flags().
enum ParamFlag : unsigned {
    ParamReadOnly = 1u << 0,   // the setters refuse with a negative code
    ParamHasAliases = 1u << 2, // the value is one of a list of named values
};

// One named value of a device, a file type or a filter. The description carries, in
// square brackets, the domain of the value for dialogs that build controls from it
// ("[true|false]", "[0..255]", "[a|b|c]", "[string]"). Setters return 0, or a negative
// code when the value is refused (read-only, out of range, not a name of the list); a
// refused write changes nothing.
class IParam
{
public:
    virtual const char* name() const = 0;
    virtual const char* description() const = 0;
    virtual uint8_t byteValue() const = 0;
    virtual bool boolValue() const = 0;
    virtual int stringValue(String& out) const = 0;
    virtual int setByteValue(uint8_t value) = 0;
    virtual int setBoolValue(bool value) = 0;
    virtual int type() const = 0;
    virtual unsigned flags() const = 0;
    virtual int8_t i8Value() const = 0;
    virtual int16_t i16Value() const = 0;
    virtual uint16_t u16Value() const = 0;
    virtual int32_t i32Value() const = 0;
    virtual uint32_t u32Value() const = 0;
    virtual int64_t i64Value() const = 0;
    virtual uint64_t u64Value() const = 0;
    virtual float floatValue() const = 0;
    virtual double doubleValue() const = 0;
    virtual int setI8Value(int8_t value) = 0;
    virtual int setI16Value(int16_t value) = 0;
    virtual int setU16Value(uint16_t value) = 0;
    virtual int setI32Value(int32_t value) = 0;
    virtual int setU32Value(uint32_t value) = 0;
    virtual int setI64Value(int64_t value) = 0;
    virtual int setU64Value(uint64_t value) = 0;
    virtual int setFloatValue(float value) = 0;
    virtual int setDoubleValue(double value) = 0;
    virtual int setStringValue(const char* value) = 0;
    // Named values (ParamHasAliases): the names in list order, the name of the present
    // value, and a write by name.
    virtual int aliases(StrList& out) const = 0;
    virtual int aliasValue(String& out) const = 0;
    virtual int setAliasValue(const char* alias) = 0;

    // Narrow-string conveniences.
    std::string getString() const
    {
        String s;
        stringValue(s);
        return s.str();
    }
    std::string getAliasValue() const
    {
        String s;
        aliasValue(s);
        return s.str();
    }
    std::vector<std::string> aliasList() const
    {
        StrList list;
        aliases(list);
        return list.items();
    }

protected:
    ~IParam() = default;
};

class IParamMgr
{
public:
    virtual int params(PtrList<IParam*>& out) = 0;
    virtual IParam* param(const char* name) = 0;

    std::vector<IParam*> params()
    {
        PtrList<IParam*> list;
        params(list);
        return list.items();
    }

protected:
    ~IParamMgr() = default;
};

class IDev
{
public:
    virtual int deviceType() = 0;
    virtual int deviceInfo(DevInfo* out) = 0;
    virtual int registerEvent(const char* eventName, EventCallback cb, void* user) = 0;
    virtual int registerLogCallback(LogCallback cb, void* user) = 0;
    virtual int deviceName(String& out) = 0;
    virtual bool isLocked() = 0;
    virtual int reconnect() = 0;
    virtual IParamMgr* paramMgr() = 0;
    virtual int loadFactoryConfig() = 0;
    virtual int configFilePath(String& out) = 0;
    virtual const IMenuItem* deviceMenu() = 0;
    virtual int statusText(String& out) = 0;
    virtual int status() = 0;
    virtual int abortOperation() = 0;
    virtual int unregisterLogCallback(LogCallback cb, void* user) = 0;

protected:
    ~IDev() = default;
};

class IFileType
{
public:
    virtual bool canSaveFrames(int flag) const = 0;
    virtual bool isMultiFrame() const = 0;
    virtual int typeCode() const = 0;
    virtual const char* description() const = 0;
    virtual const char* extension() const = 0;
    virtual IParamMgr* params() = 0;

protected:
    ~IFileType() = default;
};

class IDataMgr
{
public:
    virtual IMpxFrame* createMpxFrame(unsigned width, unsigned height, int frameDataType) = 0;
    virtual IData* loadData(IFilePath* path, int index) = 0;
    virtual int frameCountInFile(IFilePath* path) = 0;
    virtual int dataCountInFile(IFilePath* path) = 0;
    virtual int fileTypeIdFromFileName(IFilePath* path) = 0;
    virtual IFileType* fileTypeFromFileName(IFilePath* path) = 0;
    virtual IFileType* fileTypeById(int code) = 0;
    virtual int supportedFileTypes(IDevMpx* dev, PtrList<IFileType*>& out) = 0;

    std::vector<IFileType*> deviceSupportedFileTypes(IDevMpx* dev)
    {
        PtrList<IFileType*> list;
        supportedFileTypes(dev, list);
        return list.items();
    }

protected:
    ~IDataMgr() = default;
};

// Kinds reported by IDataFilter::filterType().
enum DataFilterType : int {
    DataFilterFrame = 1, // works on one frame at a time
    DataFilterGroup = 3, // a chain of other filters, an IDataFilterGroup
};

class IDataFilter
{
public:
    // DataFilterGroup (3) for a group, IDataFilterGroup then being its interface.
    virtual int filterType() = 0;
    virtual int filterName(String& out) = 0;
    virtual bool isSuitable(IMpxFrame* frame) = 0;
    virtual IMpxFrame* filterFrame(IMpxFrame* frame, unsigned subFrame) = 0;
    virtual IParamMgr* filterParams() = 0;
    virtual bool hasOwnDialog() = 0;
    virtual int showOwnDialog() = 0;

    std::string name()
    {
        String s;
        filterName(s);
        return s.str();
    }

protected:
    ~IDataFilter() = default;
};

class IDataFilterGroup : public IDataFilter
{
public:
    virtual int addFilterByName(const char* name) = 0;
    virtual int clearFilters() = 0;
    // The members in the order they are applied; a filter may stand several times.
    virtual int groupFilters(PtrList<IDataFilter*>& out) = 0;

    std::vector<IDataFilter*> memberFilters()
    {
        PtrList<IDataFilter*> list;
        groupFilters(list);
        return list.items();
    }

protected:
    ~IDataFilterGroup() = default;
};

class IDataFilterMgr
{
public:
    virtual int addGroup(const char* name) = 0;
    virtual int removeFilter(IDev* dev, IDataFilter* filter) = 0;
    // The filters the device's frames can be shown through, the groups among them only
    // when withGroups is set. The manager owns them.
    virtual int filters(const IDev* dev, PtrList<IDataFilter*>& out, bool withGroups) = 0;

    std::vector<IDataFilter*> deviceFilters(const IDev* dev, bool withGroups)
    {
        PtrList<IDataFilter*> list;
        filters(dev, list, withGroups);
        return list.items();
    }

protected:
    ~IDataFilterMgr() = default;
};

class IOrvel
{
public:
    virtual int devices(PtrList<IDev*>& out) = 0;
    virtual ISettings* moduleSettings(const char* module, IDev* dev, int flag = 0) = 0;
    virtual ICoreSettings* settingsStore() = 0;
    virtual IDataMgr* dataMgr() = 0;
    virtual IDataFilterMgr* dataFilterMgr() = 0;
    virtual int registerEvent(const char* eventName, EventCallback cb, void* user) = 0;
    virtual int registerLogCallback(LogCallback cb, void* user) = 0;
    virtual int unregisterLogCallback(LogCallback cb, void* user) = 0;
    virtual IUiHooks* uiHooks() = 0;
    virtual int requestExit() = 0;

    std::vector<IDev*> devices()
    {
        PtrList<IDev*> list;
        devices(list);
        return list.items();
    }

protected:
    ~IOrvel() = default;
};

} // namespace ov
