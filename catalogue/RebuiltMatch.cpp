#include "RebuiltMatch.h"

#include <QSet>

namespace {

bool SameVariable(const VarParser::VarDes& a, const QString& fileA, const VarParser::VarDes& b,
                  const QString& fileB) {
    return a.name == b.name && a.scope == b.scope && a.type == b.type && a.size == b.size &&
           a.encoding == b.encoding && (a.scope == QLatin1String("global") || fileA == fileB);
}

} // namespace

QVector<VarParser::VarDes*> MatchRebuilt(const QVector<const VarParser::VarDes*>& rows) {
    QVector<VarParser::VarDes*> matches(rows.size(), nullptr);
    QSet<const VarParser::VarDes*> taken;
    const QVector<VarParser::VarGroup*> groups = VarParser::GroupList();
    for (int i = 0; i < rows.size(); ++i) {
        const QString file = VarParser::FileOf(rows[i]);
        for (const VarParser::VarGroup* group : groups) {
            for (VarParser::VarDes* des : group->vars) {
                if (matches[i] == nullptr && !taken.contains(des) &&
                    SameVariable(*rows[i], file, *des, group->name)) {
                    matches[i] = des;
                    taken.insert(des);
                }
            }
        }
    }
    return matches;
}
