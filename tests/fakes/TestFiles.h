#pragma once

#include <QByteArray>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QList>
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

// The objects of a file that holds one JSON object per line (the unattended session's record).
inline QList<QJsonObject> jsonLines(const QString& path) {
    QList<QJsonObject> lines;
    QFile file(path);
    if (file.open(QIODevice::ReadOnly)) {
        for (const QByteArray& line : file.readAll().split('\n')) {
            if (!line.isEmpty()) {
                lines.append(QJsonDocument::fromJson(line).object());
            }
        }
    }
    return lines;
}

}  // namespace hvx::test
