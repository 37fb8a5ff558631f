#pragma once

#include "AbstractSocketName.h"
#include "platform/OsServices.h"

namespace hvx {

// Windows by caption through abstract socket names (kind "window", key the exact caption): an
// announced caption is a name held by this process, so it is gone the moment the window is
// withdrawn or the process ends, however it ends.
//
// Two windows may carry the same caption; only the first to claim it holds the name, and the
// caption counts as shown while either of them holds it. A later window that found the name
// taken does not take it over when the first one goes (it tries again on its next caption
// change).
//
// A lookup keeps the name of the caption it last looked up, and its socket (see
// AbstractSocketProbe): the timer asks for the same caption every second. One thread at a time.
class SocketWindowDirectory final : public WindowDirectory {
  public:
    SocketWindowDirectory();
    ~SocketWindowDirectory() override;

    bool findWindow(const QString& caption) const override;
    std::unique_ptr<CaptionAnnouncement> announce(const QString& caption) override;

  private:
    mutable AbstractSocketProbe probe_;
    mutable QString lastCaption_;
    mutable QByteArray lastSession_;
    mutable std::unique_ptr<AbstractSocketName> lastName_;
};

}  // namespace hvx
