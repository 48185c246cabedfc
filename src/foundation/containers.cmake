list(APPEND ECS_HEADERS
    include/foundation/Containers.h
    include/foundation/CArrayPtr.h
    include/foundation/CCompare.h
    include/foundation/CDataArray.h
    include/foundation/CDataList.h
    include/foundation/CDataMap.h
    include/foundation/CObjectArray.h
    include/foundation/CObjectList.h
    include/foundation/CObjectMap.h
    include/foundation/CSet.h
    include/foundation/detail/CAvlTreeCore.h
    include/foundation/detail/CListCore.h
)
