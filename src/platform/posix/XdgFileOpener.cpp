#include "XdgFileOpener.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QStandardPaths>
#include <QTextStream>

namespace hvx {

namespace {

QString xdgMime(const QStringList& arguments) {
    const QString tool = QStandardPaths::findExecutable(QStringLiteral("xdg-mime"));
    if (tool.isEmpty()) {
        return {};
    }
    QProcess query;
    query.start(tool, arguments);
    if (!query.waitForFinished(5000) || query.exitCode() != 0) {
        return {};
    }
    return QString::fromLocal8Bit(query.readAllStandardOutput()).trimmed();
}

QStringList applicationFolders() {
    QStringList folders;
    for (const QString& data :
         QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation)) {
        folders.append(data + QStringLiteral("/applications"));
    }
    return folders;
}

// The program of a .desktop file's Exec line, without its field codes.
QString execProgram(const QString& desktopFile) {
    QFile file(desktopFile);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    QTextStream lines(&file);
    while (!lines.atEnd()) {
        const QString line = lines.readLine().trimmed();
        if (line.startsWith(QLatin1String("Exec="))) {
            const QStringList words = QProcess::splitCommand(line.mid(5));
            return words.isEmpty() ? QString() : words.front();
        }
    }
    return {};
}

}  // namespace

std::optional<QString> XdgFileOpener::associatedProgram(const QString& file) const {
    const QString type = xdgMime({QStringLiteral("query"), QStringLiteral("filetype"), file});
    const QString desktop =
        type.isEmpty() ? QString()
                       : xdgMime({QStringLiteral("query"), QStringLiteral("default"), type});
    if (desktop.isEmpty()) {
        return std::nullopt;
    }
    for (const QString& folder : applicationFolders()) {
        const QString candidate = folder + QLatin1Char('/') + desktop;
        if (QFile::exists(candidate)) {
            const QString program = execProgram(candidate);
            const QString found = program.contains(QLatin1Char('/'))
                                      ? program
                                      : QStandardPaths::findExecutable(program);
            if (!found.isEmpty()) {
                return found;
            }
        }
    }
    return std::nullopt;
}

bool XdgFileOpener::open(const QString& program, const QString& file) {
    return launcher_.start(program, {file}, WindowStyle::Normal).started;
}

}  // namespace hvx
