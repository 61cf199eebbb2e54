#ifndef KEP_HOST_EVENT_TEXT_H
#define KEP_HOST_EVENT_TEXT_H

#include <optional>
#include <string>

#include "media/event/event_element.h"

namespace kep::host {

/** Reads `pre` or `post`. False, with an error line that begins with `owner`, for a text that is not a time.
 */
bool readSpan(const std::string& owner, const char* name, const std::string& text,
              std::chrono::milliseconds& span);

/** Reads `tp`, a time of the monotonic clock. Nothing, with an error line, for a text that is not a time or
 * lies far in the future. */
std::optional<SteadyTime> readPoint(const std::string& owner, const std::string& text);

/** Reads `pre=,post=,tp=,url=`, all of which are required. False, with an error line, when one is missing or
 * wrong; the URL is read all the same where there is one. */
bool readTrigger(const std::string& owner, const std::string& text, EventTrigger& trigger);

/** Adds `delApp`, whether the element deletes its application. Here only its owner deletes it: `true` writes
 * an information line. */
void addDeletion(Properties& properties, const ObjectImpl& owner);

}  // namespace kep::host

#endif
