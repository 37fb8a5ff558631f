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
    const QByteArray& name() const { return name_; }

    ~AbstractSocketName();
    AbstractSocketName(const AbstractSocketName&) = delete;
    AbstractSocketName& operator=(const AbstractSocketName&) = delete;

  private:
    QByteArray name_;
    int fd_ = -1;
};

// Asks whether names are held, with one socket kept between questions. The first question
// about a name is a non-blocking connect. When it connects, the connection waits on the
// holder's listening socket (never accepted) and answers the next questions about that name:
// the kernel hangs it up the moment the holder lets the name go, so a question is one poll
// until then. A connect refused, or turned away because the holder's queue is full (the name
// is held all the same), leaves the socket unconnected for the next question. One thread at
// a time.
class AbstractSocketProbe {
  public:
    AbstractSocketProbe() = default;
    ~AbstractSocketProbe();
    AbstractSocketProbe(const AbstractSocketProbe&) = delete;
    AbstractSocketProbe& operator=(const AbstractSocketProbe&) = delete;

    bool held(const AbstractSocketName& name);

  private:
    void drop();

    int fd_ = -1;
    // The name the socket is connected to; empty while it is not.
    QByteArray connectedTo_;
};

}  // namespace hvx
