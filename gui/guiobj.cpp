#include "gui/guiobj.h"

int AppendObj(int iType, int iLength, void* pObj, GUILIST* pList) {
    if (pList == nullptr || ListFull(pList))
        return -2;
    GUIOBJ* pItem = static_cast<GUIOBJ*>(malloc(sizeof(GUIOBJ)));
    if (pItem == nullptr)
        return -3;
    *pItem = {{nullptr, nullptr, nullptr}, iType, iLength, pObj};
    if (ListAdd(&pItem->List, pList) != 0) {
        free(pItem);
        return -4;
    }
    return 0;
}

void* TakeObj(GUIOBJ* pItem, GUILIST* pList) {
    if (pItem == nullptr || ListDel(&pItem->List, pList) != 0)
        return nullptr;
    void* pObj = pItem->pObj;
    free(pItem);
    return pObj;
}

int ClearObjs(GUILIST* pList, bool bOwned) {
    if (pList == nullptr)
        return -2;
    while (!ListEmpty(pList)) {
        void* pObj = TakeObj(FirstObj(pList), pList);
        if (pObj == nullptr)
            return -3;
        if (bOwned)
            free(pObj);
    }
    return 0;
}
