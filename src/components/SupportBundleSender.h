#pragma once

#include "platform/ProductComponents.h"

#include <QString>

namespace hvx {

class Clock;
class FileOpener;
class MessageBoxes;
class ProgramRunner;

// Sends the log to support as a bundle: one text file beside the log with the version facts
// of this machine and the log itself (which never holds the database password). The bundle
// gets a name nobody can guess beforehand and is created afresh (exclusive creation, mode
// 0600), so a link planted in a shared log folder cannot redirect it. It is handed to the
// desktop's mail client (xdg-email) with the support address of the term SUPPORT_EMAIL when
// there is one; when no mail client can be started or it refuses the bundle, the operator is
// told so and where the bundle lies.
class SupportBundleSender final : public LogSender {
  public:
    // None is owned; all must outlive the sender.
    SupportBundleSender(const Clock& clock, MessageBoxes& boxes, ProgramRunner& runner,
                        QString title);

    void SetErrorManager(ErrorManager* errorManager) override { errorManager_ = errorManager; }
    void SetTermTranslator(const TermTranslator* translator) override { translator_ = translator; }
    void SetTrace(bool on) override { trace_ = on; }
    bool SendLog() override;

    // Where the hand-over to the mail program fails, the bundle's folder is shown with the
    // file manager through `opener` (not owned; none: nothing is shown).
    void setFolderOpener(FileOpener* opener) { folderOpener_ = opener; }

    // Writes the bundle and answers its path; empty when it could not be written.
    QString writeBundle() const;

  private:
    QByteArray header(const QString& log) const;
    // `what` went wrong with the hand-over; the bundle is at `bundle`.
    void tellWhereBundleLies(const QString& what, const QString& bundle);

    const Clock& clock_;
    MessageBoxes& boxes_;
    ProgramRunner& runner_;
    QString title_;
    ErrorManager* errorManager_ = nullptr;
    const TermTranslator* translator_ = nullptr;
    bool trace_ = false;
    FileOpener* folderOpener_ = nullptr;
};

}  // namespace hvx
