#include "GioFileOpener.h"

#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QLibrary>
#include <QThread>

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <memory>

namespace hvx {

namespace {

// GIO's functions, resolved at the first lookup from the library (which brings GObject, GLib
// and their own libraries along): a Monitor that is never asked to open its log does not load
// them, over a megabyte resident. Null when GIO is not there; then no program is associated.
struct Gio {
    decltype(&g_content_type_guess) contentTypeGuess;
    decltype(&g_app_info_get_default_for_type) defaultForType;
    decltype(&g_app_info_get_id) id;
    decltype(&g_desktop_app_info_new) desktopAppInfoNew;
    decltype(&g_app_info_launch) launch;
    decltype(&g_file_new_for_path) fileNewForPath;
    decltype(&g_object_unref) objectUnref;
    decltype(&g_free) free;
    decltype(&g_error_free) errorFree;
};

const Gio* gio() {
    static const std::unique_ptr<const Gio> loaded = []() -> std::unique_ptr<const Gio> {
        // Never unloaded: GIO keeps threads and tables of its own.
        QLibrary library(QStringLiteral("gio-2.0"), 0);
        library.setLoadHints(QLibrary::PreventUnloadHint);
        if (!library.load()) {
            return nullptr;
        }
        const auto resolve = [&library](auto& function, const char* name) {
            function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(
                library.resolve(name));
            return function != nullptr;
        };
        auto functions = std::make_unique<Gio>();
        const bool complete =
            resolve(functions->contentTypeGuess, "g_content_type_guess") &&
            resolve(functions->defaultForType, "g_app_info_get_default_for_type") &&
            resolve(functions->id, "g_app_info_get_id") &&
            resolve(functions->desktopAppInfoNew, "g_desktop_app_info_new") &&
            resolve(functions->launch, "g_app_info_launch") &&
            resolve(functions->fileNewForPath, "g_file_new_for_path") &&
            resolve(functions->objectUnref, "g_object_unref") &&
            resolve(functions->free, "g_free") && resolve(functions->errorFree, "g_error_free");
        return complete ? std::move(functions) : nullptr;
    }();
    return loaded.get();
}

// GObject references and GLib strings released by their owners' functions.
struct ObjectUnref {
    void operator()(gpointer object) const { gio()->objectUnref(object); }
};
struct Free {
    void operator()(gpointer memory) const { gio()->free(memory); }
};
template <typename T>
using GObjectPtr = std::unique_ptr<T, ObjectUnref>;
using GString = std::unique_ptr<gchar, Free>;

const char* const kFolderType = "inode/directory";

// The type by name only: the content of a log says nothing reliable (an empty file is
// "application/x-zerosize"), its name does.
GString typeOfName(const Gio& g, const QString& file) {
    const QByteArray name = QFile::encodeName(QFileInfo(file).fileName());
    return GString(g.contentTypeGuess(name.constData(), nullptr, 0, nullptr));
}

GObjectPtr<GAppInfo> defaultApplication(const Gio& g, const char* type) {
    return GObjectPtr<GAppInfo>(g.defaultForType(type, FALSE));
}

// Starts `application` on one local file or folder, without waiting for it.
bool launch(const Gio& g, GAppInfo* application, const QString& path) {
    GObjectPtr<GFile> file(g.fileNewForPath(QFile::encodeName(path).constData()));
    GList files{file.get(), nullptr, nullptr};
    GError* error = nullptr;
    const bool started = g.launch(application, &files, nullptr, &error) != FALSE;
    if (error != nullptr) {
        g.errorFree(error);
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
        const Gio* g = gio();
        if (g == nullptr) {
            return std::nullopt;
        }
        const GString type = typeOfName(*g, file);
        const GObjectPtr<GAppInfo> application = defaultApplication(*g, type.get());
        const char* id = application ? g->id(application.get()) : nullptr;
        if (id == nullptr) {
            return std::nullopt;
        }
        return QString::fromUtf8(id);
    });
}

bool GioFileOpener::open(const QString& program, const QString& file) {
    const Gio* g = gio();
    if (g == nullptr) {
        return false;
    }
    const GObjectPtr<GDesktopAppInfo> application(
        g->desktopAppInfoNew(program.toUtf8().constData()));
    // A desktop entry is an application: the GAppInfo interface of the same object.
    return application && launch(*g, reinterpret_cast<GAppInfo*>(application.get()), file);
}

bool GioFileOpener::openFolder(const QString& folder) {
    const auto application = besideTheEvents([]() -> GObjectPtr<GAppInfo> {
        const Gio* g = gio();
        return g != nullptr ? defaultApplication(*g, kFolderType) : nullptr;
    });
    return application && launch(*gio(), application.get(), folder);
}

}  // namespace hvx
