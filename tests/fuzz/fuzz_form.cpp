#include "fuzztargets.h"
#include "http/multipartreader.h"
#include "http/refusal.h"

namespace {

/// What becomes of a form, in one text.
class Transcript : private PartSink
{
public:
    Transcript(const QByteArray &form, int chunkSize)
    {
        MultipartReader reader("kx", *this);
        try {
            for (int i = 0; i < form.size(); i += chunkSize) {
                const QByteArray chunk = form.mid(i, chunkSize);
                reader.feed({chunk.constData(), static_cast<std::size_t>(chunk.size())});
            }
            reader.finish();
            isRead = true;
        } catch (const Refusal &refusal) {
            require(refusal.status == 400, "a malformed form is the client's fault");
        }
    }

    QByteArray text;
    bool isRead = false;

private:
    void beginPart(const PartHeader &header) override
    {
        text += "<" + QByteArray::fromStdString(header.name) + " " +
                QByteArray::fromStdString(header.fileName.value_or("")) + ">";
    }
    void partData(std::string_view bytes) override
    {
        require(!bytes.empty(), "data is never empty");
        text.append(bytes.data(), static_cast<int>(bytes.size()));
    }
    void endPart() override { text += "</>"; }
};

} // namespace

void fuzzForm(const QByteArray &input)
{
    const Transcript whole(input, qMax(1, int(input.size())));
    for (const int chunkSize : {1, 3, 64}) {
        const Transcript pieces(input, chunkSize);
        require(pieces.isRead == whole.isRead, "the size of the pieces decides nothing");
        require(!whole.isRead || pieces.text == whole.text, "the size of the pieces changes nothing");
    }
    try {
        formBoundary({input.constData(), static_cast<std::size_t>(input.size())});
    } catch (const Refusal &) {
    }
}
