#include "store/uploadkeys.h"

#include "text/characters.h"

#include <algorithm>
#include <iterator>
#include <utility>

std::int64_t UploadKeys::timeNumber(const std::string &time)
{
    constexpr std::size_t kDigits = 14;
    std::string digits;
    std::copy_if(time.begin(), time.end(), std::back_inserter(digits), isDigit);
    return digits.empty() ? 0 : std::stoll(digits.substr(0, kDigits));
}

std::string UploadKeys::dayText(std::int64_t dayNumber)
{
    const auto digits = std::to_string(dayNumber + 100000000).substr(1);
    return digits.substr(0, 4) + '-' + digits.substr(4, 2) + '-' + digits.substr(6, 2);
}

UploadId UploadKeys::id(std::size_t place) const
{
    const auto &key = keys_[place];
    auto text = std::to_string(key.number);
    text.insert(0, key.digits - text.size(), '0');
    return {key.number, kinds_[key.kind], text + '-' + kinds_[key.kind]};
}

std::size_t UploadKeys::placeOf(const UploadId &id) const
{
    const auto isBefore = [this](const Key &key, const UploadId &other) {
        return key.number < other.number ||
               (key.number == other.number && isOlder(this->id(static_cast<std::size_t>(&key - keys_.data())), other));
    };
    return static_cast<std::size_t>(std::lower_bound(keys_.begin(), keys_.end(), id, isBefore) - keys_.begin());
}

bool UploadKeys::isAt(std::size_t place, const UploadId &id) const
{
    return place < size() && keys_[place].number == id.number && this->id(place).text == id.text;
}

void UploadKeys::insert(const UploadId &id, std::int64_t seq, const std::string &time)
{
    const auto place = placeOf(id);
    if (isAt(place, id))
        return;
    auto kind = std::find(kinds_.begin(), kinds_.end(), id.kind);
    if (kind == kinds_.end())
        kind = kinds_.insert(kind, id.kind);
    const Key key = {id.number, seq, timeNumber(time), id.text.find('-'),
                     static_cast<std::size_t>(kind - kinds_.begin())};
    keys_.insert(keys_.begin() + static_cast<std::ptrdiff_t>(place), key);
}

std::vector<std::int64_t> UploadKeys::erase(const std::vector<UploadId> &ids)
{
    std::vector<std::int64_t> seqs;
    for (const auto &id : ids) {
        if (const auto place = placeOf(id); isAt(place, id) && keys_[place].seq != 0)
            seqs.push_back(std::exchange(keys_[place].seq, 0));
    }
    if (seqs.empty())
        return seqs;
    // All at once: each would move those behind it.
    const auto isGone = [](const Key &key) { return key.seq == 0; };
    keys_.erase(std::remove_if(keys_.begin(), keys_.end(), isGone), keys_.end());
    return seqs;
}
