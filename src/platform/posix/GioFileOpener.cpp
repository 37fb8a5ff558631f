#include "GioFileOpener.h"

#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <memory>

namespace hvx {

namespace {

// GObject references and GLib strings released by their owners' functions.
struct ObjectUnref {
    void operator()(gpointer object) const { g_object_unref(object); }
};
struct Free {
    void operator()(gpointer memory) const { g_free(memory); }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, ObjectUnref>;
using GString = std::unique_ptr<gchar, Free>;

const char* const kFolderType = "inode/directory";

// The type by name only: the content of a log says nothing reliable (an empty file is
// "application/x-zerosize"), its name does.
GString typeOfName(const QString& file) {
    const QByteArray name = QFile::encodeName(QFileInfo(file).fileName());
    return GString(g_content_type_guess(name.constData(), nullptr, 0, nullptr));
}

GObjectPtr<GAppInfo> defaultApplication(const char* type) {
    return GObjectPtr<GAppInfo>(g_app_info_get_default_for_type(type, FALSE));
}

// Starts `application` on one local file or folder, without waiting for it.
bool launch(GAppInfo* application, const QString& path) {
    GObjectPtr<GFile> file(g_file_new_for_path(QFile::encodeName(path).constData()));
    GList files{file.get(), nullptr, nullptr};
    GError* error = nullptr;
    const bool started = g_app_info_launch(application, &files, nullptr, &error) != FALSE;
    if (error != nullptr) {
        g_error_free(error);
    }
    return started;
}

// Runs `lookup` on a thread of its own and answers its result, running the calling thread's
// events meanwhile, user input excepted.
template <typename Lookup>
auto besideTheEvents(Lookup lookup) {
    decltype(lookup()) result{};
    QEventLoop loop;
    const std::unique_ptr<QThread> worker(QThread::create([&] { result = lookup(); }));
    QObject::connect(worker.get(), &QThread::finished, &loop, &QEventLoop::quit);
    worker->start();
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    worker->wait();
    return result;
}

}  // namespace

std::optional<QString> GioFileOpener::associatedProgram(const QString& file) const {
    return besideTheEvents([&file]() -> std::optional<QString> {
        const GString type = typeOfName(file);
        const GObjectPtr<GAppInfo> application = defaultApplication(type.get());
        const char* id = application ? g_app_info_get_id(application.get()) : nullptr;
        if (id == nullptr) {
            return std::nullopt;
        }
        return QString::fromUtf8(id);
    });
}

bool GioFileOpener::open(const QString& program, const QString& file) {
    const GObjectPtr<GDesktopAppInfo> application(
        g_desktop_app_info_new(program.toUtf8().constData()));
    return application && launch(G_APP_INFO(application.get()), file);
}

bool GioFileOpener::openFolder(const QString& folder) {
    const GObjectPtr<GAppInfo> application =
        besideTheEvents([] { return defaultApplication(kFolderType); });
    return application && launch(application.get(), folder);
}

}  // namespace hvx
