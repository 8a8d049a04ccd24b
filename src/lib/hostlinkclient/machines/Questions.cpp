#include "hostlinkclient/machines/Questions.h"

#include <algorithm>
#include <utility>

#include <hostlink/HostLinkMessage.h>
#include <hostlink/HostLinkVocabularyNumbers.h>

namespace hostlink {

namespace {

// An answer about the same states is the answer; one about fewer of them can be it, and so can one about none.
Verdict judgeStates(const ByteArray& message, const std::vector<uint16_t>& asked) {
    const auto tags = sortedTags(message);
    if (!tags) return Verdict::Foreign;
    if (*tags == asked) return Verdict::Answer;
    return std::includes(asked.begin(), asked.end(), tags->begin(), tags->end()) ? Verdict::Part : Verdict::Foreign;
}

Question about(ByteArray message, MessageId answerId, std::vector<uint16_t> states) {
    Question question;
    question.message = std::move(message);
    question.answerId = answerId;
    std::sort(states.begin(), states.end());
    question.judge = [states](const ByteArray& answer) { return judgeStates(answer, states); };
    question.key = std::move(states);
    return question;
}

bool answersByKey(MessageId answerId) {
    return answerId != MSG_DataTransferResponse && answerId != MSG_TcpTunnelingResponse;
}

} // namespace

Question listQuestion(MessageId id, std::vector<uint16_t> states) {
    ByteArray message = writeList(id, states).value_or(ByteArray());
    return about(std::move(message), answerTo(id).value_or(MSG_Invalid), std::move(states));
}

Question itemsQuestion(MessageId id, const std::vector<Item>& items) {
    std::vector<uint16_t> tags;
    tags.reserve(items.size());
    for (const Item& item : items) tags.push_back(item.tag);
    ByteArray message = writeItems(id, items).value_or(ByteArray());
    return about(std::move(message), answerTo(id).value_or(MSG_Invalid), std::move(tags));
}

Question rawQuestion(const ByteArray& message) {
    const MessageId answerId = answerTo(HostLinkMessage::messageId(message)).value_or(MSG_Invalid);
    Question question = about(message, answerId, sortedTags(message).value_or(std::vector<uint16_t>()));
    if (answersByKey(answerId)) return question;
    question.key.clear(); // an answer has other tags than its question there
    question.judge = [](const ByteArray& answer) { return sortedTags(answer) ? Verdict::Answer : Verdict::Foreign; };
    return question;
}

} // namespace hostlink
