#include "support/wire/multipartform.h"

namespace {

const char kLineEnd[] = "\r\n";
const char kFormType[] = "multipart/form-data; boundary=";

/// Fills \a part from the value of its Content-Disposition. Returns what is wrong with it.
QString readDisposition(const QByteArray &value, FormPart &part)
{
    const QByteArray start = QByteArrayLiteral("form-data; name=\"");
    const QByteArray fileStart = QByteArrayLiteral("; filename=\"");
    const int nameEnd = value.indexOf('"', start.size());
    if (!value.startsWith(start) || nameEnd < 0)
        return QStringLiteral("the disposition is not form-data with a name");
    part.name = value.mid(start.size(), nameEnd - start.size());

    const QByteArray rest = value.mid(nameEnd + 1);
    if (rest.isEmpty())
        return QString();
    if (!rest.startsWith(fileStart) || rest.indexOf('"', fileStart.size()) != rest.size() - 1)
        return QStringLiteral("the disposition has something behind its name that is not a file name");
    part.hasFileName = true;
    part.fileName = QString::fromUtf8(rest.mid(fileStart.size(), rest.size() - fileStart.size() - 1));
    return QString();
}

QString readHeader(const QByteArray &line, FormPart &part)
{
    const int colon = line.indexOf(": ");
    if (colon <= 0 || line.contains('\r') || line.contains('\n') || line.contains('\0'))
        return QStringLiteral("malformed header line: ") + QString::fromUtf8(line);
    const QByteArray value = line.mid(colon + 2);
    if (line.startsWith("Content-Type:"))
        part.contentType = value;
    return line.startsWith("Content-Disposition:") ? readDisposition(value, part) : QString();
}

/// Reads one part from \a bytes, which begin behind the boundary line and end before the next boundary.
QString readPart(const QByteArray &bytes, FormPart &part)
{
    const int headEnd = bytes.indexOf("\r\n\r\n");
    if (headEnd < 0)
        return QStringLiteral("a part has no empty line behind its headers");
    part.body = bytes.mid(headEnd + 4);
    QByteArray lines = bytes.left(headEnd + 2);
    while (!lines.isEmpty()) {
        const int end = lines.indexOf(kLineEnd);
        part.headerLines.append(lines.left(end));
        const QString problem = readHeader(lines.left(end), part);
        if (!problem.isEmpty())
            return problem;
        lines.remove(0, end + 2);
    }
    return part.name.isEmpty() ? QStringLiteral("a part has no name") : QString();
}

QString readParts(const QByteArray &body, const QByteArray &boundary, QList<FormPart> &parts)
{
    const QByteArray delimiter = kLineEnd + QByteArrayLiteral("--") + boundary;
    const QByteArray first = delimiter.mid(2);
    if (!body.startsWith(first))
        return QStringLiteral("the body does not begin with the boundary");

    int at = first.size();
    while (body.mid(at, 2) == kLineEnd) {
        const int from = at + 2;
        const int end = body.indexOf(delimiter, from);
        if (end < 0)
            return QStringLiteral("the closing boundary is missing");
        FormPart part;
        const QString problem = readPart(body.mid(from, end - from), part);
        parts.append(part);
        if (!problem.isEmpty())
            return problem;
        at = end + delimiter.size();
    }
    if (body.mid(at) != "--\r\n")
        return QStringLiteral("a boundary is followed by something else than the next part or the end");
    return parts.isEmpty() ? QStringLiteral("the form has no parts") : QString();
}

} // namespace

QByteArray MultipartForm::body(const QByteArray &name) const
{
    QByteArray found;
    int count = 0;
    for (const FormPart &part : parts) {
        if (part.name == name) {
            found = part.body;
            ++count;
        }
    }
    return count == 1 ? found : QByteArray();
}

QList<QByteArray> MultipartForm::names() const
{
    QList<QByteArray> names;
    for (const FormPart &part : parts)
        names.append(part.name);
    return names;
}

MultipartForm parseForm(const RecordedRequest &request)
{
    MultipartForm form = parseForm(request.header("Content-Type"), request.body);
    if (!request.problem.isEmpty())
        form.problem = request.problem;
    else if (!request.bodyComplete)
        form.problem = QStringLiteral("the body has %1 of %2 bytes").arg(request.bodySize).arg(request.contentLength);
    return form;
}

MultipartForm parseForm(const QByteArray &contentType, const QByteArray &body)
{
    MultipartForm form;
    if (!contentType.startsWith(kFormType)) {
        form.problem =
            QStringLiteral("the content type is not a form with a boundary: ") + QString::fromUtf8(contentType);
        return form;
    }
    form.boundary = contentType.mid(int(sizeof kFormType) - 1);
    if (form.boundary.isEmpty() || form.boundary.size() > 70 || form.boundary.contains('"'))
        form.problem = QStringLiteral("the boundary is empty, too long or quoted");
    else
        form.problem = readParts(body, form.boundary, form.parts);
    return form;
}

QByteArray formBoundary()
{
    return QByteArrayLiteral("--------GI3Ef1ei4KM7KM7ae0ei4ei4ei4ae0");
}

QByteArray formType()
{
    return kFormType + formBoundary();
}

QByteArray formPart(const QByteArray &disposition, const QByteArray &body, const QByteArray &contentType)
{
    const QByteArray type = contentType.isEmpty() ? QByteArray() : "Content-Type: " + contentType + kLineEnd;
    return "--" + formBoundary() + kLineEnd + "Content-Disposition: " + disposition + kLineEnd + type + kLineEnd +
           body + kLineEnd;
}

QByteArray textPart(const QByteArray &name, const QByteArray &text)
{
    return formPart("form-data; name=\"" + name + "\"", text);
}

QByteArray filePart(const QByteArray &fileName, const QByteArray &bytes)
{
    return formPart("form-data; name=\"file\"; filename=\"" + fileName + "\"", bytes, "image/png");
}

QByteArray form(const QList<QByteArray> &parts)
{
    return parts.join() + "--" + formBoundary() + "--" + kLineEnd;
}

QByteArray logForm(const QString &room, const QString &nameSpace, const QString &fileName, const QByteArray &bytes)
{
    return form({textPart("room", room.toUtf8()), textPart("namespace", nameSpace.toUtf8()),
                 filePart(fileName.toUtf8(), bytes)});
}

QByteArray logForm(const QByteArray &fileName, const QByteArray &bytes)
{
    return form(
        {textPart("room", "nickname-ann.userid-42."), textPart("namespace", "demo"), filePart(fileName, bytes)});
}

QByteArray crashForm(const QByteArray &base, const QByteArray &info, const QString &fileName, const QByteArray &bytes)
{
    return form({textPart("base", base), textPart("info", info), filePart(fileName.toUtf8(), bytes)});
}
