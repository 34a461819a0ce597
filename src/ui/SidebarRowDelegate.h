#pragma once

#include <QStyledItemDelegate>

class SidebarView;

// Draws the sidebar's task and job rows (SidebarRows) and gives their tool tips: the row's, or a
// mark's over the failed and missed marks. Other rows (the timeline, headers, gaps) are widgets or
// empty; it draws only their selection.
class SidebarRowDelegate : public QStyledItemDelegate
{
    Q_OBJECT

public:
    SidebarRowDelegate(const SidebarView *sidebar, QObject *parent = nullptr);

    void paint(QPainter *painter, const QStyleOptionViewItem &option, const QModelIndex &index) const override;
    bool helpEvent(QHelpEvent *event, QAbstractItemView *view, const QStyleOptionViewItem &option,
                   const QModelIndex &index) override;

private:
    const SidebarView *m_sidebar;
};
