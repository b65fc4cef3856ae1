// Value classes that cross the boundary between the host and its plug-ins.
//
// Both sides only ever see the abstract interfaces (IString, IPtrList, ...). An
// out-parameter is created by the caller, on the caller's stack, and filled by the
// callee through the interface, so neither side frees memory the other allocated.
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <vector>

namespace ov {

class IObject
{
public:
    virtual unsigned getObjectID() const = 0;
    virtual const char* getObjectName() const = 0;

protected:
    ~IObject() = default;
};

class IString
{
public:
    virtual void set(const char* text) = 0;
    virtual void set(const wchar_t* text) = 0;
    virtual const char* get() const = 0;

protected:
    ~IString() = default;
};

class IStrList
{
public:
    virtual unsigned size() const = 0;
    virtual const char* get(unsigned index) const = 0;
    virtual void add(const char* text) = 0;
    virtual int insert(int index, const char* text) = 0;
    virtual int erase(unsigned index) = 0;
    virtual void clear() = 0;
    virtual ~IStrList() = default;
};

template <typename T>
class IPtrList
{
public:
    virtual unsigned size() const = 0;
    virtual T get(unsigned index) const = 0;
    virtual void add(T item) = 0;
    virtual int insert(int index, T item) = 0;
    virtual int erase(unsigned index) = 0;
    virtual void clear() = 0;
    virtual ~IPtrList() = default;
};

class IByteBuff
{
public:
    virtual unsigned long size() const = 0;
    virtual unsigned long byteSize() const = 0;
    virtual unsigned char* dataByte() = 0;
    virtual void resizeByte(unsigned long bytes) = 0;

protected:
    ~IByteBuff() = default;
};

template <typename T>
class IDataBuff : public IByteBuff
{
public:
    virtual T* data() = 0;
    virtual const T* data() const = 0;
    virtual void resize(unsigned long count) = 0;
    virtual ~IDataBuff() = default;
    virtual void clear() = 0;
    virtual void assignData(const T* source, unsigned long count) = 0;
};

class IRefByteBuff
{
public:
    virtual unsigned long size() const = 0;
    virtual unsigned long byteSize() const = 0;
    virtual unsigned char* dataByte() = 0;
    virtual void setByte(const unsigned char* data, unsigned long bytes) = 0;

protected:
    ~IRefByteBuff() = default;
};

template <typename T>
class IRefDataBuff : public IRefByteBuff
{
public:
    virtual T* data() = 0;
    virtual const T* data() const = 0;
    virtual void set(T* data, unsigned long count) = 0;
    virtual ~IRefDataBuff() = default;
};

class IFilePath
{
public:
    virtual void set(const char* path) = 0;
    virtual void set(const wchar_t* path) = 0;
    virtual const char* get() const = 0;
    virtual ~IFilePath() = default;
};

// ---------------------------------------------------------------------------------
// Implementations

class String final : public IString
{
public:
    String() = default;
    explicit String(const char* text) { set(text); }
    String(const String&) = default;
    String& operator=(const String&) = default;
    ~String() = default;

    void set(const char* text) override { m_text = text ? text : ""; }
    void set(const wchar_t* text) override;
    const char* get() const override { return m_text.c_str(); }

    const std::string& str() const { return m_text; }
    bool empty() const { return m_text.empty(); }

private:
    std::string m_text;
};

class StrList final : public IStrList
{
public:
    unsigned size() const override { return static_cast<unsigned>(m_items.size()); }
    const char* get(unsigned index) const override;
    void add(const char* text) override { m_items.emplace_back(text ? text : ""); }
    int insert(int index, const char* text) override;
    int erase(unsigned index) override;
    void clear() override { m_items.clear(); }

    const std::vector<std::string>& items() const { return m_items; }

private:
    std::vector<std::string> m_items;
};

template <typename T>
class PtrList final : public IPtrList<T>
{
public:
    unsigned size() const override { return static_cast<unsigned>(m_items.size()); }
    T get(unsigned index) const override { return index < m_items.size() ? m_items[index] : T(); }
    void add(T item) override { m_items.push_back(item); }
    int insert(int index, T item) override
    {
        if (index < 0 || static_cast<size_t>(index) > m_items.size())
            return -1;
        m_items.insert(m_items.begin() + index, item);
        return 0;
    }
    int erase(unsigned index) override
    {
        if (index >= m_items.size())
            return -1;
        m_items.erase(m_items.begin() + index);
        return 0;
    }
    void clear() override { m_items.clear(); }

    const std::vector<T>& items() const { return m_items; }

private:
    std::vector<T> m_items;
};

// Owns an array of T. Resizing to a different size drops the old content.
template <typename T>
class DataBuff final : public IDataBuff<T>
{
public:
    DataBuff() = default;
    explicit DataBuff(unsigned long count) { resize(count); }
    DataBuff(const DataBuff& other) { assignData(other.m_data, other.m_size); }
    DataBuff& operator=(const DataBuff& other)
    {
        if (this != &other)
            assignData(other.m_data, other.m_size);
        return *this;
    }
    ~DataBuff() override { delete[] m_data; }

    unsigned long size() const override { return m_size; }
    unsigned long byteSize() const override { return m_size * sizeof(T); }
    unsigned char* dataByte() override { return reinterpret_cast<unsigned char*>(m_data); }
    void resizeByte(unsigned long bytes) override { resize(bytes / sizeof(T)); }
    T* data() override { return m_data; }
    const T* data() const override { return m_data; }
    void resize(unsigned long count) override
    {
        if (count == m_size)
            return;
        delete[] m_data;
        m_data = nullptr;
        m_size = count;
        if (count > 0)
            m_data = new T[count];
    }
    void clear() override
    {
        delete[] m_data;
        m_data = nullptr;
        m_size = 0;
    }
    void assignData(const T* source, unsigned long count) override
    {
        resize(count);
        for (unsigned long i = 0; i < count; ++i)
            m_data[i] = source[i];
    }

    T& operator[](unsigned long i) { return m_data[i]; }
    const T& operator[](unsigned long i) const { return m_data[i]; }

private:
    unsigned long m_size = 0;
    T* m_data = nullptr;
};

// A window onto memory owned by someone else (the host's pixel data).
template <typename T>
class RefDataBuff final : public IRefDataBuff<T>
{
public:
    unsigned long size() const override { return m_size; }
    unsigned long byteSize() const override { return m_size * sizeof(T); }
    unsigned char* dataByte() override { return reinterpret_cast<unsigned char*>(m_data); }
    void setByte(const unsigned char* data, unsigned long bytes) override
    {
        m_data = reinterpret_cast<T*>(const_cast<unsigned char*>(data));
        m_size = bytes / sizeof(T);
    }
    T* data() override { return m_data; }
    const T* data() const override { return m_data; }
    void set(T* data, unsigned long count) override
    {
        m_data = data;
        m_size = count;
    }

private:
    unsigned long m_size = 0;
    T* m_data = nullptr;
};

class FilePath final : public IFilePath
{
public:
    FilePath() = default;
    explicit FilePath(const std::filesystem::path& path) : m_path(path) { update_cache(); }
    explicit FilePath(const char* path) { set(path); }

    void set(const char* path) override
    {
        m_path = std::filesystem::path(path ? path : "");
        update_cache();
    }
    void set(const wchar_t* path) override
    {
        m_path = std::filesystem::path(path ? path : L"");
        update_cache();
    }
    const char* get() const override { return m_cache.c_str(); }

    const std::filesystem::path& path() const { return m_path; }

private:
    void update_cache() { m_cache = m_path.generic_string(); }

    std::filesystem::path m_path;
    std::string m_cache;
};

// Holds one counted reference on a host object (IMpxFrame, IData, ...).
template <typename T>
class RefData
{
public:
    RefData() = default;
    // Adopts a pointer. With addRef false the holder takes over a reference the caller
    // already owns (the result of a ...RefInc operation).
    explicit RefData(T* object, bool addRef = true) : m_obj(object)
    {
        if (addRef)
            inc();
    }
    RefData(const RefData& other) : m_obj(other.m_obj) { inc(); }
    RefData(RefData&& other) noexcept : m_obj(other.m_obj) { other.m_obj = nullptr; }
    RefData& operator=(const RefData& other)
    {
        if (other.m_obj != m_obj) {
            T* old = m_obj;
            m_obj = other.m_obj;
            inc();
            if (old)
                old->decRef();
        }
        return *this;
    }
    RefData& operator=(RefData&& other) noexcept
    {
        if (this != &other) {
            dec();
            m_obj = other.m_obj;
            other.m_obj = nullptr;
        }
        return *this;
    }
    ~RefData() { dec(); }

    // Replaces the held object, taking a reference on the new one.
    void reset(T* object = nullptr, bool addRef = true)
    {
        if (object == m_obj && addRef)
            return;
        T* old = m_obj;
        m_obj = object;
        if (addRef)
            inc();
        if (old)
            old->decRef();
    }

    void inc()
    {
        if (m_obj)
            m_obj->incRef();
    }
    void dec()
    {
        if (m_obj) {
            T* old = m_obj;
            m_obj = nullptr;
            old->decRef();
        }
    }

    T* get() const { return m_obj; }
    T* operator->() const { return m_obj; }
    explicit operator bool() const { return m_obj != nullptr; }

private:
    T* m_obj = nullptr;
};

// A pointer with a plain, non-atomic count for working copies. At zero it hands the
// object back with releaseCopy().
template <typename T>
class SharedPtr
{
public:
    SharedPtr() = default;
    explicit SharedPtr(T* object) : m_obj(object), m_count(object ? new int(1) : nullptr) { }
    SharedPtr(const SharedPtr& other) : m_obj(other.m_obj), m_count(other.m_count)
    {
        if (m_count)
            ++*m_count;
    }
    SharedPtr& operator=(const SharedPtr& other)
    {
        if (this != &other) {
            clear();
            m_obj = other.m_obj;
            m_count = other.m_count;
            if (m_count)
                ++*m_count;
        }
        return *this;
    }
    ~SharedPtr() { clear(); }

    // Not inlined: GCC 12 takes the shared count of several holders, inlined side by
    // side, for a use after free.
    [[gnu::noinline]] void clear()
    {
        T* obj = m_obj;
        int* count = m_count;
        m_obj = nullptr;
        m_count = nullptr;
        if (count && --*count == 0) {
            if (obj)
                obj->releaseCopy();
            delete count;
        }
    }

    T* get() const { return m_obj; }
    T* operator->() const { return m_obj; }
    explicit operator bool() const { return m_obj != nullptr; }
    int useCount() const { return m_count ? *m_count : 0; }

private:
    T* m_obj = nullptr;
    int* m_count = nullptr;
};

} // namespace ov
