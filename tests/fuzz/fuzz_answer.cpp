#include "fuzztargets.h"
#include "wire/uploadanswer.h"

using namespace uploadanswer;

void fuzzAnswer(const QByteArray &input)
{
    const Verdict verdict = judge(input);
    for (const bool sdk : {false, true}) {
        const FileOutcome failed = judgeListedFile(true, input, sdk);
        require(!failed.removeGroup && !failed.deleteLocalFile, "a transport error changes nothing");
        const FileOutcome outcome = judgeListedFile(false, input, sdk);
        require(outcome.removeGroup == (verdict == Verdict::Accepted), "only an accepted file is forgotten");
        require(outcome.deleteLocalFile == (sdk && verdict != Verdict::NotJson), "only SDK logs are deleted");
    }
    require(verdict == Verdict::NotJson || input.contains('{') || input.contains('['), "JSON is an object or an array");
    require(verdict != Verdict::Rejected || input.contains('{'), "only an object can refuse");
}
