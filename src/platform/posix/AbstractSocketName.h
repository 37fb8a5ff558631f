#pragma once

#include <QByteArray>
#include <QString>

namespace hvx {

// A name in Linux's abstract socket namespace that stands for "this exists": held by a
// listening socket, freed by the kernel the moment its holder closes it or dies, even after a
// crash. Names carry the user id and HVX_SESSION, so users and test runs do not see each other.
class AbstractSocketName {
  public:
    // `kind` tells uses apart ("instance", "window"); `key` is hashed, so any length is fine.
    AbstractSocketName(const char* kind, const QString& key);

    // Binds and listens. False when someone else holds the name (or the socket fails).
    bool claim();
    // Gives the name back; the destructor does the same.
    void release();
    bool held() const { return fd_ >= 0; }

    // Whether anyone holds the name: a non-blocking connect.
    bool existsElsewhere() const;

    ~AbstractSocketName();
    AbstractSocketName(const AbstractSocketName&) = delete;
    AbstractSocketName& operator=(const AbstractSocketName&) = delete;

  private:
    QByteArray name_;
    int fd_ = -1;
};

}  // namespace hvx
