// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/navigator/ProjectFiles.h"

#include "base/SystemError.h"

#include <QCoreApplication>
#include <QFile>
#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace penmark {
namespace {

QString tr(const char* text)
{
    return QCoreApplication::translate("ProjectFiles", text);
}

QString reasonOf(int error)
{
    return QString::fromStdString(SystemError::reason(error));
}

QString failureOf(int error, const char* sentence, const std::string& path)
{
    return tr(sentence).arg(shownName(path), reasonOf(error));
}

/// Some disks know no rename that leaves alone what is there. A link does, and is not known for folders; those replace
/// nothing but an empty folder.
int renameByLink(const std::string& from, const std::string& to)
{
    struct stat status = {};
    if (::lstat(to.c_str(), &status) == 0)
        return EEXIST;
    if (::lstat(from.c_str(), &status) != 0)
        return errno;
    if (S_ISDIR(status.st_mode))
        return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
    if (::link(from.c_str(), to.c_str()) != 0)
        return errno;
    return ::unlink(from.c_str()) == 0 ? 0 : errno;
}

}  // namespace

QString shownName(const std::string& path)
{
    return QString::fromStdString(path.substr(path.rfind('/') + 1));
}

FileFailure makeFile(const std::string& path)
{
    const int file = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (file >= 0) {
        ::close(file);
        return std::nullopt;
    }
    if (errno == EEXIST)
        return tr("“%1” is there already.").arg(shownName(path));
    return failureOf(errno, QT_TRANSLATE_NOOP("ProjectFiles", "“%1” could not be made: %2."), path);
}

FileFailure makeFolder(const std::string& path)
{
    if (::mkdir(path.c_str(), 0777) == 0)
        return std::nullopt;
    if (errno == EEXIST)
        return tr("“%1” is there already.").arg(shownName(path));
    return failureOf(errno, QT_TRANSLATE_NOOP("ProjectFiles", "“%1” could not be made: %2."), path);
}

FileFailure moveFile(const std::string& from, const std::string& to)
{
    int error = ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0 ? 0 : errno;
    if (error == EINVAL || error == ENOSYS)
        error = to.compare(0, from.size() + 1, from + '/') == 0 ? EINVAL : renameByLink(from, to);
    if (error == 0)
        return std::nullopt;
    if (error == EEXIST)
        return tr("“%1” is there already. Nothing was replaced.").arg(shownName(to));
    if (error == EXDEV)
        return tr("“%1” stays where it is: the folder is on another disk.").arg(shownName(from));
    return failureOf(error, QT_TRANSLATE_NOOP("ProjectFiles", "“%1” could not be moved: %2."), from);
}

TrashedFile moveToTrash(const std::string& path)
{
    const QByteArray bytes = QByteArray::fromStdString(path);
    const QString name = QFile::decodeName(bytes);
    if (QFile::encodeName(name) != bytes)
        return {
            tr("“%1” could not be moved to the trash: its name is not UTF-8. Rename it first.").arg(shownName(path)),
            {}};
    QString trashed;
    if (!QFile::moveToTrash(name, &trashed))
        return {tr("“%1” could not be moved to the trash.").arg(shownName(path)), {}};
    return {std::nullopt, QFile::encodeName(trashed).toStdString()};
}

FileFailure restoreFromTrash(const std::string& trashed, const std::string& path)
{
    if (auto failure = moveFile(trashed, path))
        return failure;
    // What the trash knows of it stands beside the folder with the file: files/NAME, info/NAME.trashinfo.
    const std::size_t name = trashed.rfind('/');
    const std::size_t folder = name == std::string::npos || name == 0 ? name : trashed.rfind('/', name - 1);
    if (folder != std::string::npos && trashed.compare(folder, name - folder, "/files") == 0)
        ::unlink((trashed.substr(0, folder) + "/info" + trashed.substr(name) + ".trashinfo").c_str());
    return std::nullopt;
}

}  // namespace penmark
