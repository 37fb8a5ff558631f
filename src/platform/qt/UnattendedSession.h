#pragma once

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <optional>

namespace hvx {

// The unattended mode of the real program: with HVX_UNATTENDED set, every message box and
// dialog is written as one JSON line (to stderr when the variable is "1", else appended to
// the file it names) and answered from the comma-separated HVX_ANSWERS queue, one token per
// box or dialog. One session per process, shared by message boxes and dialogs.
class UnattendedSession {
  public:
    UnattendedSession(QString destination, const QString& answers);

    // From HVX_UNATTENDED and HVX_ANSWERS; nothing when HVX_UNATTENDED is not set.
    static std::optional<UnattendedSession> fromEnvironment();

    // The next answer token, or nothing when the queue is empty.
    std::optional<QString> takeAnswer();
    // Writes one line. A destination that cannot be written falls back to stderr.
    void record(const QJsonObject& line) const;

  private:
    QString destination_;
    QStringList answers_;
};

}  // namespace hvx
