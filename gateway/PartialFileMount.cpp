#include "PartialFileMount.h"

#include <QFile>
#include <QHash>
#include <QMutex>

#include <cpl_vsi.h>

#include <cstring>
#include <memory>

namespace {

constexpr char prefix[] = "/vsipartial/";
constexpr char fileName[] = "tile.tif";

struct Mounted {
    explicit Mounted(const PartialFile& file)
        : file(file)
    {
    }
    const PartialFile file;
    QMutex mutex;
    QList<ByteRange> misses;
};

struct Handle {
    std::shared_ptr<Mounted> mounted;
    QFile data;
    qint64 position = 0;
};

struct Mounts {
    QMutex mutex;
    QHash<int, std::shared_ptr<Mounted>> byId;
    int next = 0;
};

Mounts& mounts()
{
    static Mounts all;
    return all;
}

// "N/tile.tif", as GDAL passes it without the prefix.
std::shared_ptr<Mounted> find(const char* name)
{
    const QList<QByteArray> parts = QByteArray(name).split('/');
    if (parts.size() != 2 || parts.at(1) != fileName)
        return {};
    const QMutexLocker lock(&mounts().mutex);
    return mounts().byId.value(parts.at(0).toInt());
}

int stat(void*, const char* name, VSIStatBufL* status, int)
{
    const std::shared_ptr<Mounted> mounted = find(name);
    if (!mounted)
        return -1;
    std::memset(status, 0, sizeof(*status));
    status->st_size = mounted->file.size();
    status->st_mode = S_IFREG;
    return 0;
}

void* open(void*, const char* name, const char* access)
{
    std::shared_ptr<Mounted> mounted = find(name);
    if (!mounted || std::strpbrk(access, "wa+"))
        return nullptr;
    auto handle = std::make_unique<Handle>();
    handle->mounted = std::move(mounted);
    handle->data.setFileName(handle->mounted->file.dataPath());
    return handle->data.open(QIODevice::ReadOnly) ? handle.release() : nullptr;
}

vsi_l_offset tell(void* file) { return vsi_l_offset(static_cast<Handle*>(file)->position); }

int seek(void* file, vsi_l_offset offset, int whence)
{
    auto* handle = static_cast<Handle*>(file);
    const qint64 base = whence == SEEK_CUR ? handle->position
        : whence == SEEK_END               ? handle->mounted->file.size()
                                           : 0;
    handle->position = base + qint64(offset);
    return 0;
}

size_t read(void* file, void* buffer, size_t size, size_t count)
{
    auto* handle = static_cast<Handle*>(file);
    const PartialFile& partial = handle->mounted->file;
    const qint64 length = std::min(qint64(size * count), partial.size() - handle->position);
    if (size == 0 || length <= 0)
        return 0;
    const ByteRange range { handle->position, length };
    auto* bytes = static_cast<char*>(buffer);
    if (!partial.has(range) || !handle->data.seek(range.offset)
        || handle->data.read(bytes, length) != length) {
        std::memset(bytes, 0, size_t(length));
        const QMutexLocker lock(&handle->mounted->mutex);
        handle->mounted->misses.append(partial.missing({ range }));
    }
    handle->position += length;
    return size_t(length) / size;
}

int atEnd(void* file)
{
    const auto* handle = static_cast<Handle*>(file);
    return handle->position >= handle->mounted->file.size() ? 1 : 0;
}

int close(void* file)
{
    delete static_cast<Handle*>(file);
    return 0;
}

void install()
{
    static const bool installed = [] {
        VSIFilesystemPluginCallbacksStruct* callbacks = VSIAllocFilesystemPluginCallbacksStruct();
        callbacks->stat = stat;
        callbacks->open = open;
        callbacks->tell = tell;
        callbacks->seek = seek;
        callbacks->read = read;
        callbacks->eof = atEnd;
        callbacks->close = close;
        VSIInstallPluginHandler(prefix, callbacks);
        VSIFreeFilesystemPluginCallbacksStruct(callbacks);
        return true;
    }();
    Q_UNUSED(installed);
}

}

PartialFileMount::PartialFileMount(const PartialFile& file)
{
    install();
    const QMutexLocker lock(&mounts().mutex);
    id = ++mounts().next;
    mounts().byId.insert(id, std::make_shared<Mounted>(file));
}

PartialFileMount::~PartialFileMount()
{
    const QMutexLocker lock(&mounts().mutex);
    mounts().byId.remove(id);
}

QString PartialFileMount::path() const
{
    return QStringLiteral("%1%2/%3").arg(QLatin1String(prefix)).arg(id).arg(QLatin1String(fileName));
}

QList<ByteRange> PartialFileMount::misses() const
{
    std::shared_ptr<Mounted> mounted;
    {
        const QMutexLocker lock(&mounts().mutex);
        mounted = mounts().byId.value(id);
    }
    const QMutexLocker lock(&mounted->mutex);
    return mounted->misses;
}
