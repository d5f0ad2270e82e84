/**
 * @file customaction.h
 * @brief Plug-in libraries, and the custom actions that documents describe with them.
 *
 * A custom action names a plug-in, a method in it and lists of parameters:
 *
 * @code{.json}
 * { "action": "measure", "ExecutionState": ["running"],
 *   "pluginpath": "/usr/lib/demo", "plugin": "libfans.so", "methodname": "measureFans",
 *   "OutputParameterList": [ { "parameterName": "rpm", "type": "unsigned integer",
 *                              "parameterValue": "0" } ] }
 * @endcode
 *
 * There is no loader for such documents: read one with parseJson() or parseJsonBuffer() and a
 * document callback that starts processObject() with deserialize_AmbrelJsonCustomAction() (see
 * rfvalues.h). Then:
 *
 * @code
 * rfAECommonConfigConfigParamArray output = {0, NULL};
 * if (executeAmbrelCustomAction(&action, 1, 1, &output)) use(&output);
 * free_rfAECommonConfigConfigParamArray(&output);
 * @endcode
 *
 * **The plug-in's side.** Its method is an AmbrelCustomActionMethod with C linkage. It finds the
 * action's declared output parameters in its list and replaces their values with
 * setAEParameterValue() and its like (configparams.h), after free() of the declared ones. The
 * plug-in is unloaded when the method has returned, so whatever the list points to by then has to
 * come from malloc(): a string constant of the plug-in would be gone. No thread of its own may go
 * on running in it either.
 *
 * **Trust.** An action runs whatever library its document names, with the daemon's rights. Take
 * such documents from root-only directories alone.
 *
 * **Thread safety.** Reentrant; an action may be executed by several threads at once, each with an
 * output list of its own, when its method can.
 *
 * **Shared arguments.**
 * - `context`: the walk.
 * - `start`: offset of the value in the text.
 * - `end`: offset one past the value.
 * - `key`: the property's name.
 * - `index`: position of the element in its array; 0 outside arrays.
 */
#ifndef COMMONUTILITIES_CUSTOMACTION_H
#define COMMONUTILITIES_CUSTOMACTION_H

#include "commonconfig.h"

CU_BEGIN_DECLS

/** A custom action; zero-fill it first. A key that a document repeats loses the earlier value. */
typedef struct AmbrelJsonCustomAction {
  rfString action;              /**< "action": the action's name */
  rfString text;                /**< never filled by the reader, but released */
  rfStringArray ExecutionState; /**< "ExecutionState": the states in which the action applies */
  rfString pluginpath;          /**< "pluginpath": the plug-in's directory */
  rfString plugin;              /**< "plugin": the plug-in's file name */
  rfString methodname;          /**< "methodname": the symbol to call */
  rfAECommonConfigConfigParamArray InputParameterList;  /**< "InputParameterList" */
  rfAECommonConfigConfigParamArray OutputParameterList; /**< "OutputParameterList" */
} AmbrelJsonCustomAction;

/** A list of custom actions. */
typedef struct AmbrelJsonCustomActionArray {
  uint32_t count;               /**< number of elements */
  AmbrelJsonCustomAction *list; /**< heap array; null when there is none */
} AmbrelJsonCustomActionArray;

/**
 * @brief A plug-in's method.
 *
 * @param first  the caller's first argument.
 * @param second the caller's second argument, not 0.
 * @param output a copy of the action's output parameters, to be filled; the caller's list, as it
 *               was, when the action declares none.
 * @return non-zero for success.
 */
typedef uint32_t (*AmbrelCustomActionMethod)(uint32_t first, uint32_t second,
                                             rfAECommonConfigConfigParamArray *output);

/* ---- plug-in libraries ----------------------------------------------------------------------- */

/**
 * @brief Opens a plug-in with dlopen(), binding its functions when they are first called.
 *
 * @param directory the plug-in's directory; a "/" is put between it and @p file.
 * @param file      the plug-in's file name.
 * @param handle    receives the handle, for dlsym() and AmbrelUnloadChildLibrary(); null when the
 *                  library cannot be opened.
 * @return 1. 0 when the library cannot be opened: dlerror()'s text then stands on standard error,
 *         without a line end. 0 without a text when the joined path is longer than 1023 characters,
 *         and for a null argument, which stores nothing.
 */
CU_API uint32_t AmbrelLoadChildLibrary(const char *directory, const char *file, void **handle);

/**
 * @brief Closes a plug-in's handle once.
 *
 * @param handle what AmbrelLoadChildLibrary() gave.
 * @return 1, or 0 for null.
 */
CU_API uint32_t AmbrelUnloadChildLibrary(void *handle);

/* ---- custom actions -------------------------------------------------------------------------- */

/**
 * @brief Loads an action's plug-in, calls its method and unloads the plug-in again.
 *
 * The method gets a copy of the action's output parameters, not of its input parameters. A method
 * in C++ should not throw: the exception reaches the caller, and the plug-in stays loaded.
 *
 * @param action the action.
 * @param first  passed to the method.
 * @param second passed to the method; 0 is refused.
 * @param output a zero-filled list that receives the copy and what the method makes of it; release
 *               it with free_rfAECommonConfigConfigParamArray(). Entries that it holds before the
 *               call are lost when the action declares output parameters.
 * @return the method's result. 0 as well when the action has no loadable plug-in or no method name,
 *         when the plug-in has no such method, without memory, for a null argument and for a
 *         @p second of 0. Only a plug-in that cannot be loaded is told, on standard error.
 */
CU_API uint32_t executeAmbrelCustomAction(const AmbrelJsonCustomAction *action, uint32_t first,
                                          uint32_t second,
                                          rfAECommonConfigConfigParamArray *output);

/**
 * @brief The deserializer of an AmbrelJsonCustomAction.
 *
 * @param action the AmbrelJsonCustomAction to fill.
 * @return the result of the value's reader; 0 for an unknown or null key and a null argument.
 */
CU_API int32_t deserialize_AmbrelJsonCustomAction(JsonWalkContext *context, int32_t start,
                                                  int32_t end, const char *key, uint32_t index,
                                                  void *action);

/**
 * @brief The deserializer of an AmbrelJsonCustomActionArray, for arrays of actions.
 *
 * The list grows to @p index + 1 zeroed elements. Without memory for that it is released, and empty
 * afterwards.
 *
 * @param array the AmbrelJsonCustomActionArray to fill.
 * @return as deserialize_AmbrelJsonCustomAction(); 0 without memory.
 */
CU_API int32_t deserialize_AmbrelJsonCustomActionArray(JsonWalkContext *context, int32_t start,
                                                       int32_t end, const char *key, uint32_t index,
                                                       void *array);

/**
 * @brief Releases what an action owns but for its name: free() `action` yourself.
 *
 * The record itself is not freed and nothing is reset; call it once. Null is accepted.
 *
 * @param action the action.
 */
CU_API void free_AmbrelJsonCustomAction(AmbrelJsonCustomAction *action);

/**
 * @brief free_AmbrelJsonCustomAction() for every element, and the list. Null is accepted.
 *
 * @param array the list.
 */
CU_API void free_AmbrelJsonCustomActionArray(AmbrelJsonCustomActionArray *array);

CU_END_DECLS

#endif
