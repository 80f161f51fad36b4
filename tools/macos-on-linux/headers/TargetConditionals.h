// Stands for <TargetConditionals.h> of a Mac's SDK. Nothing that is compiled here asks for a
// target.
#pragma once
