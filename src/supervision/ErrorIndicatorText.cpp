#include "ErrorIndicatorText.h"

#include <QFont>
#include <QFontMetrics>
#include <QRegularExpression>
#include <QSize>
#include <QStringList>
#include <QTextLayout>

namespace hvx {

QString fitWrappedText(const QString& text, const QFont& font, const QSize& box) {
    QString flowing = text;
    flowing.replace(QRegularExpression(QStringLiteral("\r\n|\r|\n")),
                    QString(QChar::LineSeparator));
    QTextLayout layout(flowing, font);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    QStringList lines;
    int restStart = -1;
    qreal height = 0;
    layout.beginLayout();
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLineWidth(box.width());
        if (height + line.height() > box.height()) {
            restStart = line.textStart();
            break;
        }
        height += line.height();
        lines.append(flowing.mid(line.textStart(), line.textLength()));
    }
    layout.endLayout();
    if (restStart < 0) {
        return text;
    }
    const QFontMetrics metrics(font);
    if (lines.isEmpty()) {
        return metrics.elidedText(flowing.simplified(), Qt::ElideRight, box.width());
    }
    // The last line that fits takes the rest, elided; a forced break inside it is a blank.
    QString last = lines.takeLast() + flowing.mid(restStart);
    last.replace(QChar::LineSeparator, QLatin1Char(' '));
    QString fitted;
    for (const QString& line : lines) {
        fitted += QString(line).remove(QChar::LineSeparator).trimmed() + QLatin1Char('\n');
    }
    return fitted + metrics.elidedText(last.trimmed(), Qt::ElideRight, box.width());
}

}  // namespace hvx
