#include "examplepage.h"

namespace {

const QByteArray kBegin = QByteArrayLiteral("<!-- example ");
const QByteArray kFence = QByteArrayLiteral(" -->\n```http\n");
const QByteArray kEnd = QByteArrayLiteral("```\n<!-- end of example -->\n");

/// Where in a page the next example stands.
struct Place
{
    QString name;
    int begin; ///< of the text
    int end;
};

/// The first example at or behind \a from; without a name when there is none.
Place nextPlace(const QByteArray &page, int from)
{
    const int mark = page.indexOf(kBegin, from);
    const int nameBegin = mark + kBegin.size();
    const int nameEnd = page.indexOf(kFence, nameBegin);
    const int begin = nameEnd + kFence.size();
    const int end = page.indexOf(kEnd, begin);
    if (mark < 0 || nameEnd < 0 || end < 0)
        return {};
    return {QString::fromUtf8(page.mid(nameBegin, nameEnd - nameBegin)), begin, end};
}

} // namespace

QList<Example> examplesOf(const QByteArray &page)
{
    QList<Example> examples;
    for (Place place = nextPlace(page, 0); !place.name.isEmpty(); place = nextPlace(page, place.end))
        examples.append({place.name, page.mid(place.begin, place.end - place.begin)});
    return examples;
}

QByteArray withExamples(const QByteArray &page, const QList<Example> &examples)
{
    QByteArray result = page;
    for (const Example &example : examples) {
        Place place = nextPlace(result, 0);
        while (!place.name.isEmpty() && place.name != example.first)
            place = nextPlace(result, place.end);
        if (!place.name.isEmpty())
            result.replace(place.begin, place.end - place.begin, example.second);
    }
    return result;
}
