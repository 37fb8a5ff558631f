#pragma once

#include <QByteArray>
#include <QFile>
#include <QString>

namespace hvx::test {

// Writes `bytes` to `path` in place of what was there; answers whether all of it went in.
inline bool writeFile(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
           file.write(bytes) == bytes.size();
}

// A shell script that its owner may run.
inline bool writeScript(const QString& path, const QByteArray& body) {
    return writeFile(path, "#!/bin/sh\n" + body) &&
           QFile::setPermissions(path, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
}

}  // namespace hvx::test
