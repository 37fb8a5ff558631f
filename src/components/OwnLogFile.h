#pragma once

#include <QByteArray>
#include <QString>

namespace hvx {

// The log file, reached only in ways that a planted link or another user's file cannot turn
// against anyone (the log folder may be shared). It is opened without following a symbolic
// link, and used only when it is a regular file of this user with no other name: anything
// else was not made by the Monitor, and is neither written, cut, emptied nor read.
class OwnLogFile {
  public:
    enum class Use {
        Append,  // created (mode 0600) when missing
        Read,
        Empty,
    };

    OwnLogFile(const QString& path, Use use);
    ~OwnLogFile();
    OwnLogFile(const OwnLogFile&) = delete;
    OwnLogFile& operator=(const OwnLogFile&) = delete;

    // False when the file is missing, could not be opened, or is not one of the Monitor's.
    bool isOpen() const { return fd_ >= 0; }
    // The errno of the failed open; 0 when it was opened or refused as not the Monitor's.
    int openError() const { return openError_; }
    qint64 size() const;

    // Appends `record` whole or not at all: a write cut short (a full disk) is taken back, so
    // the next record never continues a half line.
    bool appendWhole(const QByteArray& record);
    // Up to `bytes` from `offset`; fewer at the end of the file or on a read error.
    QByteArray read(qint64 offset, qint64 bytes) const;
    bool empty();

  private:
    int fd_ = -1;
    int openError_ = 0;
};

}  // namespace hvx
