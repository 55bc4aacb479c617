#include "log/LogFilePlace.h"

#include "log/LogPaths.h"

namespace HalvorixAppLog {

bool LogFilePlace::Answers(const Question& question) const {
    return question.time == askedTime && question.path == askedPath && question.name == askedName &&
           question.monthdir == askedMonthdir && question.index == askedIndex;
}

void LogFilePlace::Find(const Question& question, const std::string& process,
                        const std::string& pid, LogClock& clock) {
    if (Answers(question)) return;
    askedTime = question.time;
    askedPath = question.path;
    askedName = question.name;
    askedMonthdir = question.monthdir;
    askedIndex = question.index;
    const std::tm time = clock.LocalTime(question.time);
    midnight = clock.Midnight(time);
    directory = question.path;
    if (question.monthdir) directory += MonthDirectory(time);
    path = directory + LogFileName(process, question.name, time, pid, question.index);
}

}  // namespace HalvorixAppLog
