// Build tool: renders the application icon's SVG to PNG files at the sizes the program uses, so
// that the program itself never loads the SVG plugin (and its library) to show its icon.
//
//   hvx-render-icon SVG OUTPUT_PREFIX SIZE...   writes OUTPUT_PREFIX-SIZE.png for each size
#include <QGuiApplication>
#include <QIcon>
#include <QImage>

#include <cstdio>

int main(int argc, char* argv[]) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.size() < 4) {
        std::fprintf(stderr, "usage: hvx-render-icon SVG OUTPUT_PREFIX SIZE...\n");
        return 2;
    }
    const QIcon icon(arguments[1]);
    for (const QString& size : arguments.mid(3)) {
        const int pixels = size.toInt();
        const QImage image = icon.pixmap(pixels, pixels).toImage();
        const QString file = arguments[2] + QLatin1Char('-') + size + QStringLiteral(".png");
        if (image.width() != pixels || !image.save(file)) {
            std::fprintf(stderr, "hvx-render-icon: cannot write %s\n", qPrintable(file));
            return 1;
        }
    }
    return 0;
}
