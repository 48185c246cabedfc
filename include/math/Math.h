#pragma once

// Math family: scalar helpers, points and sizes, vectors, matrices,
// quaternions, planes, rays, boxes and their hit tests, pixel and float
// rectangles and colours.
#include <math/CBox.h>
#include <math/CColor.h>
#include <math/CHitTest.h>
#include <math/CMath.h>
#include <math/CMatrix3.h>
#include <math/CMatrix4.h>
#include <math/CPlane.h>
#include <math/CPoint.h>
#include <math/CQuaternion.h>
#include <math/CRay.h>
#include <math/CRectangle.h>
#include <math/CRectangleF.h>
#include <math/CSize.h>
#include <math/CVector2.h>
#include <math/CVector3.h>
#include <math/CVector4.h>
