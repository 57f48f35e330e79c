// SPDX-License-Identifier: GPL-3.0-or-later
#include "storage/FaultyVfs.h"

#include <sqlite3.h>

namespace penmark {

namespace {

sqlite3_vfs* real = nullptr;
int remaining = 0;
bool lasting = false;
bool failed = false;

bool failsNow()
{
    if (failed && lasting)
        return true;
    if (remaining == 0 || --remaining > 0)
        return false;
    failed = true;
    return true;
}

struct ShimFile {
    sqlite3_file base;
    sqlite3_file* under() { return reinterpret_cast<sqlite3_file*>(this + 1); }
};

sqlite3_file* under(sqlite3_file* file)
{
    return reinterpret_cast<ShimFile*>(file)->under();
}

int shimClose(sqlite3_file* file)
{
    return under(file)->pMethods->xClose(under(file));
}
int shimRead(sqlite3_file* file, void* bytes, int count, sqlite3_int64 offset)
{
    return under(file)->pMethods->xRead(under(file), bytes, count, offset);
}
int shimWrite(sqlite3_file* file, const void* bytes, int count, sqlite3_int64 offset)
{
    if (failsNow()) {
        under(file)->pMethods->xWrite(under(file), bytes, count / 2, offset);
        return SQLITE_FULL;
    }
    return under(file)->pMethods->xWrite(under(file), bytes, count, offset);
}
int shimTruncate(sqlite3_file* file, sqlite3_int64 size)
{
    return failsNow() ? SQLITE_IOERR_TRUNCATE : under(file)->pMethods->xTruncate(under(file), size);
}
int shimSync(sqlite3_file* file, int flags)
{
    return failsNow() ? SQLITE_IOERR_FSYNC : under(file)->pMethods->xSync(under(file), flags);
}
int shimFileSize(sqlite3_file* file, sqlite3_int64* size)
{
    return under(file)->pMethods->xFileSize(under(file), size);
}
int shimLock(sqlite3_file* file, int level)
{
    return under(file)->pMethods->xLock(under(file), level);
}
int shimUnlock(sqlite3_file* file, int level)
{
    return under(file)->pMethods->xUnlock(under(file), level);
}
int shimCheckReservedLock(sqlite3_file* file, int* result)
{
    return under(file)->pMethods->xCheckReservedLock(under(file), result);
}
int shimFileControl(sqlite3_file* file, int operation, void* argument)
{
    return under(file)->pMethods->xFileControl(under(file), operation, argument);
}
int shimSectorSize(sqlite3_file* file)
{
    return under(file)->pMethods->xSectorSize(under(file));
}
int shimDeviceCharacteristics(sqlite3_file* file)
{
    return under(file)->pMethods->xDeviceCharacteristics(under(file));
}

const sqlite3_io_methods methods = [] {
    sqlite3_io_methods m{};
    m.iVersion = 1;
    m.xClose = shimClose;
    m.xRead = shimRead;
    m.xWrite = shimWrite;
    m.xTruncate = shimTruncate;
    m.xSync = shimSync;
    m.xFileSize = shimFileSize;
    m.xLock = shimLock;
    m.xUnlock = shimUnlock;
    m.xCheckReservedLock = shimCheckReservedLock;
    m.xFileControl = shimFileControl;
    m.xSectorSize = shimSectorSize;
    m.xDeviceCharacteristics = shimDeviceCharacteristics;
    return m;
}();

int shimOpen(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags)
{
    file->pMethods = nullptr;
    if (failsNow())
        return SQLITE_CANTOPEN;
    const int result = real->xOpen(real, name, under(file), flags, outFlags);
    if (under(file)->pMethods != nullptr)
        file->pMethods = &methods;
    return result;
}
int shimDelete(sqlite3_vfs*, const char* name, int syncFolder)
{
    return failsNow() ? SQLITE_IOERR_DELETE : real->xDelete(real, name, syncFolder);
}

sqlite3_vfs& shim()
{
    static sqlite3_vfs vfs = [] {
        sqlite3_vfs v = *real;  // everything that is not replaced works on the same data
        v.szOsFile = static_cast<int>(sizeof(ShimFile)) + real->szOsFile;
        v.zName = "penmark-faulty";
        v.xOpen = shimOpen;
        v.xDelete = shimDelete;
        return v;
    }();
    return vfs;
}

}  // namespace

FaultyVfs::FaultyVfs()
{
    real = sqlite3_vfs_find(nullptr);
    failAt(0, Mode::once);
    sqlite3_vfs_register(&shim(), 1);
}

FaultyVfs::~FaultyVfs()
{
    sqlite3_vfs_unregister(&shim());
    sqlite3_vfs_register(real, 1);
}

void FaultyVfs::failAt(int n, Mode mode)
{
    remaining = n;
    lasting = mode == Mode::fromThenOn;
    failed = false;
}

bool FaultyVfs::hasFailed() const
{
    return failed;
}

}  // namespace penmark
